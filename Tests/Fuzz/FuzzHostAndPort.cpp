#include <optional>

#include "FuzzSupport.h"
#include "KuvAuth/Configuration/HostAndPort.h"

namespace {

// Returns the number at the start of the text; none if it exceeds 32 bits, where atoi is undefined.
std::optional<std::int32_t> PlainNumber(const std::string& text) {
  std::size_t i = text.find_first_not_of(" \t\n\v\f\r");
  if (i == std::string::npos) return 0;
  const bool negative = text[i] == '-';
  if (negative || text[i] == '+') ++i;
  std::int64_t number = 0;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    number = number * 10 + (text[i] - '0');
    if (number > INT32_MAX) return {};
  }
  return static_cast<std::int32_t>(negative ? -number : number);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text{data, data + size};
  std::string host = text;
  const std::int32_t port = SplitHostAndPort(host);
  std::size_t colon = 0;
  while (colon < text.size() && text[colon] != ':') ++colon;
  KuvFuzz::Require(host == text.substr(0, colon), "host");
  if (colon == text.size()) {
    KuvFuzz::Require(port == 443, "port without a colon");
    return 0;
  }
  const std::string rest{text.c_str() + colon + 1};
  const std::optional<std::int32_t> expected = PlainNumber(rest);
  KuvFuzz::Require(!expected || port == *expected, "port");
  return 0;
}
