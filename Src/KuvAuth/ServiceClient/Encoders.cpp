#include "KuvAuth/ServiceClient/Encoders.h"

#include <array>
#include <limits>
#include <stdexcept>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/ServiceClient/Base64Core.h"

namespace Kuv::Util {

namespace {

constexpr long kUnspecifiedFailure = static_cast<std::int32_t>(0x80004005);  // E_FAIL
constexpr std::int64_t kMaxSize = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kMinSize = std::numeric_limits<std::int32_t>::min();

struct HexPair {
  char high;
  char low;
};

constexpr std::array<HexPair, 256> MakeHexPairs() {
  constexpr char digits[] = "0123456789ABCDEF";
  std::array<HexPair, 256> pairs{};
  for (std::size_t byte = 0; byte < pairs.size(); ++byte)
    pairs[byte] = {digits[byte >> 4], digits[byte & 0xF]};
  return pairs;
}

constexpr std::array<bool, 256> MakeUnreserved() {
  std::array<bool, 256> unreserved{};
  for (std::size_t byte = 'A'; byte <= 'Z'; ++byte) unreserved[byte] = true;
  for (std::size_t byte = 'a'; byte <= 'z'; ++byte) unreserved[byte] = true;
  for (std::size_t byte = '0'; byte <= '9'; ++byte) unreserved[byte] = true;
  for (const char mark : {'-', '.', '_', '~'}) unreserved[static_cast<unsigned char>(mark)] = true;
  return unreserved;
}

constexpr std::array<HexPair, 256> kHexPairs = MakeHexPairs();
constexpr std::array<bool, 256> kUnreserved = MakeUnreserved();

// Makes a text of `perByte` characters for each input byte, to be written in place.
std::string MakeText(std::uint64_t bytes, std::size_t perByte) {
  std::string text;
  if (bytes > text.max_size() / perByte) throw std::length_error{"encoded text"};
  text.resize(static_cast<std::size_t>(bytes) * perByte);
  return text;
}

char* WriteHex(char* out, std::uint8_t byte) noexcept {
  const HexPair pair = kHexPairs[byte];
  out[0] = pair.high;
  out[1] = pair.low;
  return out + 2;
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
  std::string text = MakeText(length, 2);
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  char* out = text.data();
  for (std::uint64_t i = 0; i < length; ++i) out = WriteHex(out, bytes[i]);
  return text;
}

std::string PercentEncode(const std::string& text) {
  std::string encoded = MakeText(text.size(), 3);
  char* out = encoded.data();
  for (const char character : text) {
    const auto byte = static_cast<std::uint8_t>(character);
    if (kUnreserved[byte]) {
      *out++ = character;
    } else {
      *out++ = '%';
      out = WriteHex(out, byte);
    }
  }
  encoded.resize(static_cast<std::size_t>(out - encoded.data()));
  return encoded;
}

}  // namespace Kuv::Util
