#include <windows.h>
#include <winhttp.h>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/ServiceClient/SignatureParts.h"
#include "KuvAuth/ServiceClient/SignedRequest.h"
#include "KuvAuth/Support/Text.h"

namespace Kuv::Util {

bool FormatCurrentDate(std::string& date, FailedCall* failed) {
  SYSTEMTIME now{};
  ::GetSystemTime(&now);
  wchar_t wideDate[WINHTTP_TIME_FORMAT_BUFSIZE] = {};
  if (::WinHttpTimeFromSystemTime(&now, wideDate) == FALSE) {
    if (failed != nullptr) *failed = {"WinHttpTimeFromSystemTime", ::GetLastError()};
    return false;
  }
  date = WideToUtf8(wideDate);
  return true;
}

std::string BuildDateHeader(std::string* date) {
  std::string bareDate;
  if (!FormatCurrentDate(bareDate, /*failed=*/nullptr)) {
    KUV_LOG(LogLevel::Error, "WinHttpTimeFromSystemTime failed");
    return {};
  }
  if (date != nullptr) *date = bareDate;
  return FormatToString("Date: %s\r\n", bareDate.c_str());
}

}  // namespace Kuv::Util
