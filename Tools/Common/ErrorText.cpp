#include "Common/ErrorText.h"

#include "Common/PlainText.h"
#include "KuvAuth/Support/SystemError.h"
#include "KuvAuth/Support/Text.h"

namespace Tools {

std::string DescribeError(std::uint32_t code) {
  const auto result = static_cast<std::int32_t>(code);
  const std::string number = result < 0 ? HresultText(result) : std::to_string(code);
  const std::string reason = PlainText(FormatSystemError(code));
  return reason.empty() ? "error " + number : reason + " (error " + number + ")";
}

std::string HresultText(std::int32_t result) {
  return FormatToString("0x%08X", static_cast<unsigned>(result));
}

}  // namespace Tools
