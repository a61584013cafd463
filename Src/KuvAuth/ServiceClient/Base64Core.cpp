#include "KuvAuth/ServiceClient/Base64Core.h"

#include <algorithm>
#include <limits>

namespace Kuv::Util {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::int32_t kGroupBytes = 3;
constexpr std::int32_t kGroupCharacters = 4;
constexpr std::int32_t kLineBytes = 57;
constexpr std::int32_t kLineCharacters = 76;

// Gives the alphabet's character for the 6 bits of a group that start `shift` bits from its end.
char Character(std::uint32_t group, int shift) noexcept {
  return kAlphabet[(group >> shift) & 0x3F];
}

// Writes the last group, of 1 or 2 bytes, and returns the end of the text.
char* EncodeRemainder(const std::uint8_t* source, std::int32_t count, bool padded, char* out) noexcept {
  const std::uint32_t group =
      std::uint32_t{source[0]} << 16 | (count == 2 ? std::uint32_t{source[1]} << 8 : 0u);
  *out++ = Character(group, 18);
  *out++ = Character(group, 12);
  if (count == 2) *out++ = Character(group, 6);
  return padded ? std::fill_n(out, kGroupBytes - count, '=') : out;
}

char* EncodeLine(const std::uint8_t* source, std::int32_t length, bool padded, char* out) noexcept {
  for (; length >= kGroupBytes; length -= kGroupBytes, source += kGroupBytes, out += kGroupCharacters) {
    const std::uint32_t group =
        std::uint32_t{source[0]} << 16 | std::uint32_t{source[1]} << 8 | std::uint32_t{source[2]};
    out[0] = Character(group, 18);
    out[1] = Character(group, 12);
    out[2] = Character(group, 6);
    out[3] = Character(group, 0);
  }
  return length == 0 ? out : EncodeRemainder(source, length, padded, out);
}

}  // namespace

std::int64_t Base64Size(std::int32_t length, std::uint32_t options) noexcept {
  if (length <= 0) return 0;
  const std::int32_t remainder = length % kGroupBytes;
  std::int64_t size = std::int64_t{length / kGroupBytes} * kGroupCharacters;
  if (remainder != 0) size += (options & kBase64NoPadding) != 0 ? remainder + 1 : kGroupCharacters;
  if ((options & kBase64NoLineBreaks) == 0) size += 2 * ((size - 1) / kLineCharacters);
  return size;
}

bool EncodeBase64(const void* source, std::int32_t length, char* destination, std::int32_t* size,
                  std::uint32_t options) noexcept {
  if (source == nullptr || destination == nullptr || size == nullptr) return false;
  if (*size < Base64Size(length, options)) return false;
  const bool padded = (options & kBase64NoPadding) == 0;
  const bool oneLine = (options & kBase64NoLineBreaks) != 0;
  const std::int32_t lineBytes = oneLine ? std::numeric_limits<std::int32_t>::max() : kLineBytes;
  const auto* in = static_cast<const std::uint8_t*>(source);
  char* out = destination;
  while (length > 0) {
    if (out != destination) {
      *out++ = '\r';
      *out++ = '\n';
    }
    const std::int32_t count = std::min(length, lineBytes);
    out = EncodeLine(in, count, padded, out);
    in += count;
    length -= count;
  }
  *size = static_cast<std::int32_t>(out - destination);
  return true;
}

}  // namespace Kuv::Util
