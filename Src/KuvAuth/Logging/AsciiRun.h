#pragma once

#include <type_traits>

/// Copies units of the text up to its NUL, the first unit outside ASCII or `capacity`, whichever comes first;
/// none of these is copied, and none behind them is read. Returns how many were copied.
template <typename To, typename From>
int CopyAsciiRun(To* destination, int capacity, const From* text) noexcept {
  const auto copy = [=](int i) {
    // One comparison for both ends of the run: less 1, the NUL is the largest of all.
    const unsigned unit = static_cast<std::make_unsigned_t<From>>(text[i]);
    if (unit - 1u >= 0x7Fu) return false;
    destination[i] = static_cast<To>(unit);
    return true;
  };
  int i = 0;
  // Four at a time, since every line goes through here once or twice.
  for (; capacity - i >= 4; i += 4) {
    if (!copy(i)) return i;
    if (!copy(i + 1)) return i + 1;
    if (!copy(i + 2)) return i + 2;
    if (!copy(i + 3)) return i + 3;
  }
  while (i < capacity && copy(i)) ++i;
  return i;
}
