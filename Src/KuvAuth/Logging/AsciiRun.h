#pragma once

#include <type_traits>

namespace Kuv {

/// Copies at most `capacity` units of the text, up to but not including its NUL or first unit outside ASCII,
/// and reads nothing after that unit. Returns the number of units copied.
template <typename To, typename From>
int CopyAsciiRun(To* destination, int capacity, const From* text) noexcept {
  const auto copy = [=](int i) {
    // One comparison for both ends of the run: minus 1, the NUL wraps around to the largest value.
    const unsigned unit = static_cast<std::make_unsigned_t<From>>(text[i]);
    if (unit - 1u >= 0x7Fu) return false;
    destination[i] = static_cast<To>(unit);
    return true;
  };
  int i = 0;
  // Unrolled, because every log line is copied here once or twice.
  for (; capacity - i >= 4; i += 4) {
    if (!copy(i)) return i;
    if (!copy(i + 1)) return i + 1;
    if (!copy(i + 2)) return i + 2;
    if (!copy(i + 3)) return i + 3;
  }
  while (i < capacity && copy(i)) ++i;
  return i;
}

}  // namespace Kuv
