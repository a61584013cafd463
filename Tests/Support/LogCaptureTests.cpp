#include "Support/LogCapture.h"

#include <stdexcept>

#include <gtest/gtest.h>

namespace {

using KuvTest::LogCapture;
using KuvTest::LogLines;
using KuvTest::ParseLogLine;

TEST(LogCapture, CollectsLevelAndMessage) {
  LogCapture log;
  KUV_LOG(LogLevel::Info, "one %d", 1);
  KUV_LOG(LogLevel::Trace, L"two %s", L"2");
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Info, "one 1"}, {LogLevel::Trace, "two 2"}}));
}

TEST(LogCapture, FiltersAtItsLevel) {
  LogCapture log{LogLevel::Info};
  KUV_LOG(LogLevel::Debug, "dropped");
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST(LogCapture, RestoresTheEarlierLog) {
  LogCapture outer;
  {
    LogCapture inner;
    KUV_LOG(LogLevel::Info, "inside");
  }
  KUV_LOG(LogLevel::Info, "outside");
  EXPECT_EQ(outer.Lines(), (LogLines{{LogLevel::Info, "outside"}}));
}

TEST(LogCapture, KeepsTheRawLine) {
  LogCapture log;
  KUV_LOG(LogLevel::Info, "text");
  ASSERT_EQ(log.RawLines().size(), 1u);
  EXPECT_TRUE(log.RawLines()[0].ends_with(L") [Info] text\r\n"));
}

TEST(LogCapture, FindsTextInAnyLine) {
  LogCapture log;
  KUV_LOG(LogLevel::Info, "a needle here");
  log.System().WriteRaw(LogLevel::Info, "and a thimble");
  EXPECT_TRUE(log.Contains("needle"));
  EXPECT_TRUE(log.Contains("thimble"));
  EXPECT_FALSE(log.Contains("haystack"));
}

TEST(LogCapture, ClearRemovesAllLines) {
  LogCapture log;
  KUV_LOG(LogLevel::Info, "text");
  log.Clear();
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST(LogCapture, RejectsMalformedLines) {
  EXPECT_THROW(ParseLogLine(L"text"), std::runtime_error);
  EXPECT_THROW(ParseLogLine(L"06/02/25 12:59:52 [1](2) [Info] text"), std::runtime_error);
  EXPECT_THROW(ParseLogLine(L"06/02/25 12:59:52 [1](2) [Other] text\r\n"), std::runtime_error);
}

}  // namespace
