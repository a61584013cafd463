#include "KuvAuth/ServiceClient/Base64Core.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

namespace Kuv::Util {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::int32_t kGroupBytes = 3;
constexpr std::int32_t kGroupCharacters = 4;
constexpr std::int32_t kLineBytes = 57;  // 76 characters

using CharacterPair = std::array<char, 2>;

// Returns the table of the two characters for each 12 bits.
constexpr std::array<CharacterPair, 4096> MakePairs() {
  std::array<CharacterPair, 4096> pairs{};
  for (std::size_t bits = 0; bits < pairs.size(); ++bits)
    pairs[bits] = {kAlphabet[bits >> 6], kAlphabet[bits & 0x3F]};
  return pairs;
}

constexpr std::array<CharacterPair, 4096> kPairs = MakePairs();

void WritePair(std::uint64_t group, int shift, char* out) noexcept {
  std::memcpy(out, &kPairs[(group >> shift) & 0xFFF], sizeof(CharacterPair));
}

// Returns 8 bytes as a big-endian number. Compilers turn this into one load.
std::uint64_t LoadEight(const std::uint8_t* source) noexcept {
  return std::uint64_t{source[0]} << 56 | std::uint64_t{source[1]} << 48 | std::uint64_t{source[2]} << 40 |
         std::uint64_t{source[3]} << 32 | std::uint64_t{source[4]} << 24 | std::uint64_t{source[5]} << 16 |
         std::uint64_t{source[6]} << 8 | std::uint64_t{source[7]};
}

// Returns the character for the 6 bits of a group at bit `shift`.
char Character(std::uint32_t group, int shift) noexcept {
  return kAlphabet[(group >> shift) & 0x3F];
}

// Writes a last group of 1 or 2 bytes and returns the end of the text.
char* EncodeRemainder(const std::uint8_t* source, std::int32_t count, bool padded, char* out) noexcept {
  const std::uint32_t group =
      std::uint32_t{source[0]} << 16 | (count == 2 ? std::uint32_t{source[1]} << 8 : 0u);
  *out++ = Character(group, 18);
  *out++ = Character(group, 12);
  if (count == 2) *out++ = Character(group, 6);
  if (!padded) return out;
  if (count == 1) *out++ = '=';
  *out++ = '=';
  return out;
}

char* EncodeLine(const std::uint8_t* source, std::int32_t length, bool padded, char* out) noexcept {
  // Encodes two groups at a time while there are 8 bytes to load.
  for (; length >= 8; length -= 6, source += 6, out += 8) {
    const std::uint64_t groups = LoadEight(source);
    WritePair(groups, 52, out);
    WritePair(groups, 40, out + 2);
    WritePair(groups, 28, out + 4);
    WritePair(groups, 16, out + 6);
  }
  for (; length >= kGroupBytes; length -= kGroupBytes, source += kGroupBytes, out += kGroupCharacters) {
    const std::uint32_t group =
        std::uint32_t{source[0]} << 16 | std::uint32_t{source[1]} << 8 | std::uint32_t{source[2]};
    WritePair(group, 12, out);
    WritePair(group, 0, out + 2);
  }
  return length == 0 ? out : EncodeRemainder(source, length, padded, out);
}

}  // namespace

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
