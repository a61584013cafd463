#pragma once

#include <cstdint>

/// @file
/// The implementation of `Base64Encode`.

namespace Kuv::Util {

/// Option flags of `EncodeBase64`.
inline constexpr std::uint32_t kBase64NoPadding = 1;     ///< no "=" after a last group of 1 or 2 bytes
inline constexpr std::uint32_t kBase64NoLineBreaks = 2;  ///< no CR LF between lines of 76 characters

/// Returns the number of characters that `EncodeBase64` writes for `length` bytes; 0 for a length of 0 or
/// less.
constexpr std::int64_t Base64Size(std::int32_t length, std::uint32_t options) noexcept {
  if (length <= 0) return 0;
  const auto bytes = static_cast<std::uint32_t>(length);
  const std::uint32_t remainder = bytes % 3;
  std::int64_t size = std::int64_t{bytes / 3} * 4;
  if (remainder != 0) size += (options & kBase64NoPadding) != 0 ? remainder + 1 : 4;
  if ((options & kBase64NoLineBreaks) == 0) size += 2 * ((size - 1) / 76);
  return size;
}

/// Writes the base64 text (RFC 4648, section 4) of `length` bytes to `destination`, without a NUL. `size` is
/// the capacity of `destination` on entry and the number of characters written on return. Returns false and
/// writes nothing if an argument is null or the capacity is below `Base64Size`.
bool EncodeBase64(const void* source, std::int32_t length, char* destination, std::int32_t* size,
                  std::uint32_t options) noexcept;

}  // namespace Kuv::Util
