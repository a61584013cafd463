#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace Kuv {

/// Copies at most `count` units of the text, up to but not including its NUL or first unit outside ASCII,
/// and reads nothing after that unit. Returns the number of units copied.
template <typename To, typename From>
std::size_t CopyAsciiRun(To* destination, const From* text, std::size_t count) noexcept {
  const auto copy = [=](std::size_t i) {
    // One comparison for both ends of the run: minus 1, the NUL wraps around to the largest value.
    const unsigned unit = static_cast<std::make_unsigned_t<From>>(text[i]);
    if (unit - 1u >= 0x7Fu) return false;
    destination[i] = static_cast<To>(unit);
    return true;
  };
  std::size_t i = 0;
  // Unrolled, because every line of the log file is copied here.
  for (; count - i >= 4; i += 4) {
    if (!copy(i)) return i;
    if (!copy(i + 1)) return i + 1;
    if (!copy(i + 2)) return i + 2;
    if (!copy(i + 3)) return i + 3;
  }
  while (i < count && copy(i)) ++i;
  return i;
}

/// Does the same for a text of which `count` units may be read, and reads eight of them at a time.
inline std::size_t CopyAsciiBlocks(wchar_t* destination, const char* text, std::size_t count) noexcept {
  constexpr std::size_t kBlock = sizeof(std::uint64_t);
  const auto copyBlock = [=](std::size_t at) {
    std::uint64_t block;
    std::memcpy(&block, text + at, kBlock);
    // A NUL borrows from its highest bit; a unit outside ASCII has that bit.
    if ((((block - 0x0101010101010101u) | block) & 0x8080808080808080u) != 0) return false;
    // Local copies, because a store to `destination` could change `text` as far as the compiler knows.
    unsigned char units[kBlock];
    std::memcpy(units, &block, kBlock);
    wchar_t wide[kBlock] = {};
    for (std::size_t unit = 0; unit < kBlock; ++unit) wide[unit] = units[unit];
    std::memcpy(destination + at, wide, sizeof(wide));
    return true;
  };
  std::size_t i = 0;
  while (count - i >= kBlock && copyBlock(i)) i += kBlock;
  // The last block overlaps the one before it.
  if (count >= kBlock && count - i < kBlock && copyBlock(count - kBlock)) return count;
  return i + CopyAsciiRun(destination + i, text + i, count - i);
}

}  // namespace Kuv
