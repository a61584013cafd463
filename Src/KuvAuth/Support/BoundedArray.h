#pragma once

#include <cstdint>
#include <stdexcept>

/// A view of an array whose accesses are checked. Does not own the elements.
template <typename Element>
class BoundedArray {
 public:
  BoundedArray(Element* elements, std::uint64_t count) noexcept : elements_(elements), count_(count) {}

  std::uint64_t Count() const noexcept { return count_; }

  /// Returns the element. Throws `std::out_of_range` if `index` is not below `Count()`.
  Element& operator[](std::uint64_t index) const {
    if (index >= count_) throw std::out_of_range{"Array index out of range"};
    return elements_[index];
  }

 private:
  Element* elements_;
  std::uint64_t count_;
};
