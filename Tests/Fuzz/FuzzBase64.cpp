#include <algorithm>
#include <limits>

#include <fuzzer/FuzzedDataProvider.h>

#include "FuzzSupport.h"
#include "KuvAuth/ServiceClient/Base64Core.h"
#include "KuvAuth/ServiceClient/Encoders.h"

namespace {

using KuvFuzz::ExactCopy;
using KuvFuzz::Require;

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kLine = 76;

// Encodes bit by bit.
std::string PlainBase64(const std::string& bytes, bool padded, bool oneLine) {
  std::string text;
  for (std::size_t bit = 0; bit < bytes.size() * 8; bit += 6) {
    unsigned sextet = 0;
    for (std::size_t i = bit; i < bit + 6; ++i) {
      const bool set =
          i / 8 < bytes.size() && (static_cast<unsigned char>(bytes[i / 8]) >> (7 - i % 8) & 1) != 0;
      sextet = sextet * 2 + (set ? 1 : 0);
    }
    text += kAlphabet[sextet];
  }
  while (padded && text.size() % 4 != 0) text += '=';
  if (oneLine) return text;
  std::string lines;
  for (std::size_t start = 0; start < text.size(); start += kLine) {
    if (start != 0) lines += "\r\n";
    lines += text.substr(start, kLine);
  }
  return lines;
}

std::string PlainDecode(const std::string& text) {
  const std::string alphabet = kAlphabet;
  std::string bytes;
  unsigned bits = 0;
  int count = 0;
  for (const char character : text) {
    const std::size_t value = alphabet.find(character);
    if (value == std::string::npos) continue;
    bits = (bits << 6 | static_cast<unsigned>(value)) & 0xFFFF;
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> count & 0xFF);
  }
  return bytes;
}

void CheckCore(const std::string& bytes, std::uint32_t options) {
  const std::string expected = PlainBase64(bytes, (options & 1) == 0, (options & 2) != 0);
  const auto length = static_cast<std::int32_t>(bytes.size());
  Require(Kuv::Util::Base64Size(length, options) == static_cast<std::int64_t>(expected.size()), "size");
  const ExactCopy source{bytes};
  std::string room(expected.size(), '.');
  auto size = static_cast<std::int32_t>(room.size());
  if (size > 0) {
    --size;
    Require(!Kuv::Util::EncodeBase64(source.Get(), length, room.data(), &size, options), "refusal");
    Require(std::count(room.begin(), room.end(), '.') == static_cast<std::ptrdiff_t>(room.size()),
            "writes nothing on failure");
    ++size;
  }
  Require(Kuv::Util::EncodeBase64(source.Get(), length, room.data(), &size, options), "acceptance");
  Require(size == static_cast<std::int32_t>(expected.size()), "size written");
  Require(room == expected, "text of the core");
  Require(PlainDecode(room) == bytes, "round trip");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input{data, size};
  KuvFuzz::CheckLength(Kuv::Util::Base64Encode, input.ConsumeIntegral<std::uint64_t>(), 0x20000000,
                       0x80000000, "eA==");
  const auto options = input.ConsumeIntegralInRange<std::uint32_t>(0, 3);
  const std::string bytes = input.ConsumeRemainingBytesAsString();
  CheckCore(bytes, options);
  const ExactCopy source{bytes};
  Require(Kuv::Util::Base64Encode(source.Get(), bytes.size()) == PlainBase64(bytes, true, true), "text");
  return 0;
}
