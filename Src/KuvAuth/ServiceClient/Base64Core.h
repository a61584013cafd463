#pragma once

#include <cstdint>

namespace Kuv::Util {

/// Options of `EncodeBase64`, to be combined.
inline constexpr std::uint32_t kBase64NoPadding = 1;     ///< a last group of 1 or 2 bytes gets no "="
inline constexpr std::uint32_t kBase64NoLineBreaks = 2;  ///< one line; else CR LF between lines of 76

/// Gives the characters that `EncodeBase64` writes for `length` bytes; 0 for a length of 0 or less.
constexpr std::int64_t Base64Size(std::int32_t length, std::uint32_t options) noexcept {
  if (length <= 0) return 0;
  const auto bytes = static_cast<std::uint32_t>(length);
  const std::uint32_t remainder = bytes % 3;
  std::int64_t size = std::int64_t{bytes / 3} * 4;
  if (remainder != 0) size += (options & kBase64NoPadding) != 0 ? remainder + 1 : 4;
  if ((options & kBase64NoLineBreaks) == 0) size += 2 * ((size - 1) / 76);
  return size;
}

/// Writes the base64 text (RFC 4648, section 4) of `length` bytes to `destination`, without a NUL.
/// `size` holds the room at `destination` on entry and the characters written on return. Returns false,
/// with nothing written, for a null argument or a room below `Base64Size`.
bool EncodeBase64(const void* source, std::int32_t length, char* destination, std::int32_t* size,
                  std::uint32_t options) noexcept;

}  // namespace Kuv::Util
