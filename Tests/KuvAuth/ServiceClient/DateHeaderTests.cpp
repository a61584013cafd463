#include <windows.h>
#include <winhttp.h>

#include <gtest/gtest.h>

#include "KuvAuth/ServiceClient/SignedRequest.h"
#include "Support/ImportHook.h"
#include "Support/LogCapture.h"

namespace {

using Kuv::Util::BuildDateHeader;
using KuvTest::LogLines;

// Fixes the clock at the date that RFC 9110 uses as its example.
class DateHeader : public ::testing::Test {
 protected:
  DateHeader() {
    time.Answer([](SYSTEMTIME* now) { *now = {1994, 11, 0, 6, 8, 49, 37, 500}; });
  }

  KuvTest::LogCapture log;
  KuvTest::ImportHook<decltype(&::GetSystemTime)> time{"GetSystemTime"};
  KuvTest::ImportHook<decltype(&::WinHttpTimeFromSystemTime)> format{"WinHttpTimeFromSystemTime"};
};

TEST_F(DateHeader, HasTheTimeAsHttpDate) {
  std::string date = "before";
  const std::string header = BuildDateHeader(&date);
  EXPECT_EQ(header, "Date: Sun, 06 Nov 1994 08:49:37 GMT\r\n");
  EXPECT_EQ(date, "Sun, 06 Nov 1994 08:49:37 GMT");
  EXPECT_EQ(log.RawLines().size(), 0u);
}

TEST_F(DateHeader, AcceptsNullForTheDate) {
  EXPECT_EQ(BuildDateHeader(nullptr), "Date: Sun, 06 Nov 1994 08:49:37 GMT\r\n");
}

TEST_F(DateHeader, HasRoomFor62Characters) {
  format.Answer([](const SYSTEMTIME* now, wchar_t* text) {
    EXPECT_EQ(now->wYear, 1994);
    for (int i = 0; i < 62; ++i) EXPECT_EQ(text[i], L'\0');
    for (int i = 0; i < 61; ++i) text[i] = L'x';
    return TRUE;
  });
  EXPECT_EQ(BuildDateHeader(nullptr), "Date: " + std::string(61, 'x') + "\r\n");
}

TEST_F(DateHeader, FailureIsLoggedAndDoesNotChangeTheDate) {
  format.Answer([](auto&&...) { return FALSE; });
  std::string date = "before";
  EXPECT_EQ(BuildDateHeader(&date), "");
  EXPECT_EQ(BuildDateHeader(nullptr), "");
  EXPECT_EQ(date, "before");
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Error, "WinHttpTimeFromSystemTime failed"},
                                   {LogLevel::Error, "WinHttpTimeFromSystemTime failed"}}));
}

}  // namespace
