#include "Common/HostError.h"

#include <algorithm>

#include "KuvAuth/Support/SystemError.h"
#include "KuvAuth/Support/Text.h"

namespace FilterHost {

std::string DescribeError(std::uint32_t code) {
  const auto result = static_cast<std::int32_t>(code);
  const std::string number = result < 0 ? HresultText(result) : std::to_string(code);
  const std::string reason = Printable(WideToUtf8(FormatSystemError(code)));
  return reason.empty() ? "error " + number : reason + " (error " + number + ")";
}

std::string HresultText(std::int32_t result) {
  return FormatToString("0x%08X", static_cast<unsigned>(result));
}

std::string Printable(std::string text) {
  std::replace_if(
      text.begin(), text.end(),
      [](char unit) {
        const auto code = static_cast<unsigned char>(unit);
        return code < 0x20 || code == 0x7F;
      },
      '?');
  return text;
}

}  // namespace FilterHost
