#include "KuvAuth/ServiceClient/Encoders.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/ServiceClient/Base64Core.h"

namespace Kuv::Util {

namespace {

constexpr long kUnspecifiedFailure = static_cast<std::int32_t>(0x80004005);  // E_FAIL
constexpr std::int64_t kMaxSize = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kMinSize = std::numeric_limits<std::int32_t>::min();

constexpr std::array<bool, 256> MakeUnreserved() {
  std::array<bool, 256> unreserved{};
  for (std::size_t byte = 'A'; byte <= 'Z'; ++byte) unreserved[byte] = true;
  for (std::size_t byte = 'a'; byte <= 'z'; ++byte) unreserved[byte] = true;
  for (std::size_t byte = '0'; byte <= '9'; ++byte) unreserved[byte] = true;
  for (const char mark : {'-', '.', '_', '~'}) unreserved[static_cast<unsigned char>(mark)] = true;
  return unreserved;
}

constexpr std::array<bool, 256> kUnreserved = MakeUnreserved();

constexpr char HexDigit(std::uint8_t nibble) noexcept {
  return static_cast<char>(nibble + '0' + (nibble > 9 ? 'A' - '9' - 1 : 0));
}

// The percent-encoded form of a byte.
struct Escape {
  char text[3];
  std::uint8_t size;
};
static_assert(sizeof(Escape) == 4);

constexpr std::array<Escape, 256> MakeEscapes() {
  std::array<Escape, 256> escapes{};
  for (std::size_t i = 0; i < escapes.size(); ++i) {
    const auto byte = static_cast<std::uint8_t>(i);
    if (kUnreserved[i]) {
      escapes[i] = {{static_cast<char>(byte)}, 1};
    } else {
      escapes[i] = {{'%', HexDigit(byte >> 4), HexDigit(byte & 0xF)}, 3};
    }
  }
  return escapes;
}

constexpr std::array<Escape, 256> kEscapes = MakeEscapes();

// Returns the size of a text with `perByte` characters for each input byte.
std::size_t TextSize(std::uint64_t bytes, std::size_t perByte) {
  if (bytes > std::string{}.max_size() / perByte) throw std::length_error{"encoded text"};
  return static_cast<std::size_t>(bytes) * perByte;
}

// The fixed size, arithmetic instead of a table and local arrays let the compiler vectorize the block.
constexpr std::size_t kHexBlock = 16;

void WriteHexBlock(const std::uint8_t* source, char* out) noexcept {
  std::uint8_t bytes[kHexBlock];
  std::memcpy(bytes, source, sizeof(bytes));
  char high[kHexBlock];
  char low[kHexBlock];
  for (std::size_t i = 0; i < kHexBlock; ++i) {
    high[i] = HexDigit(bytes[i] >> 4);
    low[i] = HexDigit(bytes[i] & 0xF);
  }
  char digits[2 * kHexBlock];
  for (std::size_t i = 0; i < kHexBlock; ++i) {
    digits[2 * i] = high[i];
    digits[2 * i + 1] = low[i];
  }
  std::memcpy(out, digits, sizeof(digits));
}

std::uint8_t ByteAt(const char* source, std::size_t index) noexcept {
  return static_cast<std::uint8_t>(source[index]);
}

// Escapes `count` bytes and returns the end of the text. The output needs room for three characters per byte.
char* EscapeEach(const char* source, std::size_t count, char* out) noexcept {
  if (count == 0) return out;
  // A copy of fixed size is fastest; the next one overwrites the excess.
  for (; count > 1; --count, ++source) {
    const Escape& escape = kEscapes[ByteAt(source, 0)];
    std::memcpy(out, &escape, sizeof(escape));
    out += escape.size;
  }
  const Escape& last = kEscapes[ByteAt(source, 0)];
  std::memcpy(out, last.text, sizeof(last.text));
  return out + last.size;
}

template <std::size_t... Index>
bool AllUnreserved(const char* source, std::index_sequence<Index...>) noexcept {
  return (static_cast<unsigned>(kUnreserved[ByteAt(source, Index)]) & ...) != 0;
}

// Does the same, but copies a block without bytes to escape as a whole.
char* EscapeBlocks(const char* source, std::size_t count, char* out) noexcept {
  constexpr std::size_t kBlock = 16;
  for (; count >= kBlock; count -= kBlock, source += kBlock) {
    if (AllUnreserved(source, std::make_index_sequence<kBlock>{})) {
      std::memcpy(out, source, kBlock);
      out += kBlock;
    } else {
      out = EscapeEach(source, kBlock, out);
    }
  }
  return EscapeEach(source, count, out);
}

}  // namespace

std::string Base64Encode(const void* data, std::uint64_t length) {
  if (data == nullptr || length == 0) return {};
  const auto count = static_cast<std::int32_t>(length);
  if (std::int64_t{4} * count > kMaxSize) throw CAtlException(kUnspecifiedFailure);
  auto size = static_cast<std::int32_t>(Base64Size(count, kBase64NoLineBreaks));
  std::string text(static_cast<std::size_t>(size), '\0');
  if (size == 0 || !EncodeBase64(data, count, text.data(), &size, kBase64NoLineBreaks)) {
    KUV_LOG(LogLevel::Error, "Base64Encode failed");
    return {};
  }
  return text;
}

std::string AtlHexEncode(const void* data, std::uint64_t length) {
  if (data == nullptr || length == 0) return {};
  const auto count = static_cast<std::int32_t>(length);
  const std::int64_t size = std::int64_t{2} * count + 1;
  if (size > kMaxSize || size < kMinSize) throw CAtlException(kUnspecifiedFailure);
  if (size < 0) {
    KUV_LOG(LogLevel::Error, "AtlHexEncode failed");
    return {};
  }
  return BytesToHexString(data, static_cast<std::uint32_t>(count));
}

std::string BytesToHexString(const void* data, std::uint64_t length) {
  std::string text(TextSize(length, 2), '\0');
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  char* out = text.data();
  for (; length >= kHexBlock; length -= kHexBlock, bytes += kHexBlock, out += 2 * kHexBlock)
    WriteHexBlock(bytes, out);
  for (; length != 0; --length, ++bytes) {
    *out++ = HexDigit(*bytes >> 4);
    *out++ = HexDigit(*bytes & 0xF);
  }
  return text;
}

std::string PercentEncode(const std::string& text) {
  return PercentEncode(text.data(), text.size());
}

std::string PercentEncode(const void* data, std::uint64_t length) {
  if (data == nullptr) return {};
  std::string encoded;
  encoded.reserve(TextSize(length, 3));
  // Uses a buffer, because resizing the string would first fill it with zeros.
  constexpr std::size_t kPiece = 256;
  char piece[3 * kPiece];
  const auto* const bytes = static_cast<const char*>(data);
  const auto size = static_cast<std::size_t>(length);
  for (std::size_t done = 0; done < size; done += kPiece) {
    const std::size_t count = std::min(size - done, kPiece);
    const char* const end = EscapeBlocks(bytes + done, count, piece);
    encoded.append(piece, static_cast<std::size_t>(end - piece));
  }
  return encoded;
}

}  // namespace Kuv::Util
