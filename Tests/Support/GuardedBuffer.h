#pragma once

#include <windows.h>

#include <cstring>
#include <stdexcept>

namespace KuvTest {

/// An array whose last element ends at a page boundary, followed by a page without access: reading or writing
/// past the end of the array ends the process.
template <typename Element>
class GuardedBuffer {
 public:
  explicit GuardedBuffer(std::size_t count) {
    const std::size_t bytes = count * sizeof(Element);
    const std::size_t pages = (bytes + kPage - 1) / kPage;
    memory_ = static_cast<BYTE*>(
        ::VirtualAlloc(nullptr, (pages + 1) * kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    DWORD before = 0;
    if (memory_ == nullptr ||
        ::VirtualProtect(memory_ + pages * kPage, kPage, PAGE_NOACCESS, &before) == FALSE) {
      throw std::runtime_error{"no guarded memory"};
    }
    elements_ = reinterpret_cast<Element*>(memory_ + pages * kPage - bytes);
  }

  /// Creates an array of the text with its NUL as the last element.
  static GuardedBuffer Text(const Element* text, std::size_t length) {
    GuardedBuffer buffer{length + 1};
    std::memcpy(buffer.elements_, text, length * sizeof(Element));
    buffer.elements_[length] = Element{};
    return buffer;
  }

  GuardedBuffer(GuardedBuffer&& other) noexcept : memory_(other.memory_), elements_(other.elements_) {
    other.memory_ = nullptr;
  }
  GuardedBuffer& operator=(GuardedBuffer&&) = delete;
  ~GuardedBuffer() {
    if (memory_ != nullptr) ::VirtualFree(memory_, 0, MEM_RELEASE);
  }

  Element* Get() const { return elements_; }

 private:
  static constexpr std::size_t kPage = 4096;

  BYTE* memory_ = nullptr;
  Element* elements_ = nullptr;
};

}  // namespace KuvTest
