#include <fuzzer/FuzzedDataProvider.h>

#include "FuzzSupport.h"
#include "KuvAuth/ServiceClient/Encoders.h"

namespace {

std::string PlainDecode(const std::string& text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%') {
      bytes += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      bytes += text[i];
    }
  }
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input{data, size};
  // Repeated, so that short inputs reach long texts.
  const auto times = input.ConsumeIntegralInRange<std::size_t>(1, 40);
  const std::string part = input.ConsumeRemainingBytesAsString();
  std::string text;
  for (std::size_t i = 0; i < times; ++i) text += part;
  const std::string encoded = Kuv::Util::PercentEncode(text);
  KuvFuzz::Require(encoded == KuvFuzz::PlainPercent(text), "text");
  KuvFuzz::Require(PlainDecode(encoded) == text, "round trip");
  KuvFuzz::Require(encoded.capacity() >= 3 * text.size(), "reserve");
  return 0;
}
