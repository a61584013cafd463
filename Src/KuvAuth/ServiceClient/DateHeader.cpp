#include <windows.h>
#include <winhttp.h>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/ServiceClient/SignedRequest.h"
#include "KuvAuth/Support/Text.h"

namespace Kuv::Util {

std::string BuildDateHeader(std::string* date) {
  SYSTEMTIME now{};
  ::GetSystemTime(&now);
  wchar_t wideDate[WINHTTP_TIME_FORMAT_BUFSIZE] = {};
  if (::WinHttpTimeFromSystemTime(&now, wideDate) == FALSE) {
    KUV_LOG(LogLevel::Error, "WinHttpTimeFromSystemTime failed");
    return {};
  }
  const std::string bareDate = WideToUtf8(wideDate);
  if (date != nullptr) *date = bareDate;
  return FormatToString("Date: %s\r\n", bareDate.c_str());
}

}  // namespace Kuv::Util
