#include <fuzzer/FuzzedDataProvider.h>

#include "FuzzSupport.h"
#include "KuvAuth/ServiceClient/Encoders.h"

namespace {

using KuvFuzz::ExactCopy;
using KuvFuzz::Require;

std::string PlainHex(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes) {
    char digits[3];
    std::snprintf(digits, sizeof(digits), "%02X", static_cast<unsigned char>(byte));
    text += digits;
  }
  return text;
}

std::string PlainDecode(const std::string& text) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2)
    bytes += static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16));
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input{data, size};
  KuvFuzz::CheckLength(Kuv::Util::AtlHexEncode, input.ConsumeIntegral<std::uint64_t>(), 0x40000000,
                       0xC0000000, "78");
  const std::string bytes = input.ConsumeRemainingBytesAsString();
  const ExactCopy source{bytes};
  const std::string text = Kuv::Util::AtlHexEncode(source.Get(), bytes.size());
  Require(text == PlainHex(bytes), "text");
  Require(PlainDecode(text) == bytes, "round trip");
  Require(Kuv::Util::BytesToHexString(source.Get(), bytes.size()) == text, "the other operation");
  return 0;
}
