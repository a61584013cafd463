#include <winsock2.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KuvAuth/Logging/SystemEvents.h"
#include "Support/ImportHook.h"
#include "Support/LogCapture.h"

namespace {

using KuvTest::LogCapture;
using KuvTest::LogLines;

TEST(LogSocketFailure, LogsTheOperationAndTheCode) {
  KUV_IMPORT_HOOK(lastError, WSAGetLastError);
  lastError.Script({[] { return 10093; }, [] { return -1; }});
  LogCapture log;
  LogSocketFailure("gethostname");
  LogSocketFailure("getnameinfo");
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Error, "Failure in socket operation 'gethostname' (10093)"},
                                   {LogLevel::Error, "Failure in socket operation 'getnameinfo' (-1)"}}));
}

TEST(LogSocketFailure, ReadsTheCodeBeforeItLogs) {
  std::vector<std::string> events;
  KUV_IMPORT_HOOK(lastError, WSAGetLastError);
  KUV_IMPORT_HOOK(clock, GetLocalTime);
  lastError.Answer([&] {
    events.push_back("code");
    return 1;
  });
  clock.Answer([&](SYSTEMTIME* time) {
    events.push_back("log");
    *time = {};
  });
  const LogCapture log;
  LogSocketFailure("gethostname");
  EXPECT_EQ(events, (std::vector<std::string>{"code", "log"}));
}

TEST(LogSocketFailure, ReadsTheCodeWithoutALogSystem) {
  KUV_IMPORT_HOOK(lastError, WSAGetLastError);
  LogSocketFailure("gethostname");
  EXPECT_EQ(lastError.CallCount(), 1u);
}

}  // namespace
