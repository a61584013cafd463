#include "KuvAuth/Logging/LogText.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/value.h>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Logging/LogJson.h"
#include "Support/ImportHook.h"
#include "Support/LogCapture.h"

namespace {

using KuvTest::LogCapture;

using Narrow = std::vector<std::string>;
using Wide = std::vector<std::wstring>;

TEST(LogText, WritesTextThatEndsInALineFeedOnce) {
  LogCapture log;
  LogText(LogLevel::Info, "one\ntwo\n");
  LogText(LogLevel::Info, L"one\r\ntwo\r\n");
  EXPECT_EQ(log.NarrowTexts(), (Narrow{"one\ntwo\n"}));
  EXPECT_EQ(log.RawLines(), (Wide{L"one\r\ntwo\r\n"}));
}

TEST(LogText, WritesALineEndBehindAnyOtherText) {
  LogCapture log;
  LogText(LogLevel::Info, "text");
  LogText(LogLevel::Info, L"text");
  EXPECT_EQ(log.NarrowTexts(), (Narrow{"text", "\r\n"}));
  EXPECT_EQ(log.RawLines(), (Wide{L"text", L"\r\n"}));
}

TEST(LogText, TakesTheLockForEachOfItsTwoWrites) {
  const LogCapture log;
  KUV_IMPORT_HOOK(enter, EnterCriticalSection);
  LogText(LogLevel::Info, "text");
  EXPECT_EQ(enter.CallCount(), 2u);
}

TEST(LogText, TakesACarriageReturnForNoLineEnd) {
  LogCapture log;
  LogText(LogLevel::Info, "\r");
  LogText(LogLevel::Info, L"text\n\r");
  EXPECT_EQ(log.NarrowTexts(), (Narrow{"\r", "\r\n"}));
  EXPECT_EQ(log.RawLines(), (Wide{L"text\n\r", L"\r\n"}));
}

TEST(LogText, WritesALoneLineFeedOnce) {
  LogCapture log;
  LogText(LogLevel::Info, "\n");
  LogText(LogLevel::Info, L"\n");
  EXPECT_EQ(log.NarrowTexts(), (Narrow{"\n"}));
  EXPECT_EQ(log.RawLines(), (Wide{L"\n"}));
}

TEST(LogText, CutsNothing) {
  LogCapture log;
  const std::string text(100000, 'x');
  LogText(LogLevel::Info, text.c_str());
  EXPECT_EQ(log.NarrowTexts(), (Narrow{text, "\r\n"}));
}

TEST(LogText, WritesNothingForNullOrEmptyText) {
  LogCapture log;
  LogText(LogLevel::Info, static_cast<const char*>(nullptr));
  LogText(LogLevel::Info, static_cast<const wchar_t*>(nullptr));
  LogText(LogLevel::Info, "");
  LogText(LogLevel::Info, L"");
  EXPECT_TRUE(log.NarrowTexts().empty());
  EXPECT_TRUE(log.RawLines().empty());
}

TEST(LogText, DropsWhatIsBelowTheLowestLevel) {
  LogCapture log{LogLevel::Info};
  LogText(LogLevel::Debug, "dropped");
  LogText(LogLevel::Debug, L"dropped");
  EXPECT_TRUE(log.NarrowTexts().empty());
  EXPECT_TRUE(log.RawLines().empty());
}

TEST(LogText, DropsTheCallWithoutALog) {
  EXPECT_NO_FATAL_FAILURE(LogText(LogLevel::Critical, "text"));
  EXPECT_NO_FATAL_FAILURE(LogText(LogLevel::Critical, L"text"));
}

TEST(LogJson, WritesAnObjectInOnePieceWithFullLineEndsAndNoPrefix) {
  Json::Value value;
  value["name"] = "text";
  value["number"] = 7;
  LogCapture log;
  LogJson(LogLevel::Info, value);
  EXPECT_EQ(log.NarrowTexts(), (Narrow{"{\r\n\t\"name\" : \"text\",\r\n\t\"number\" : 7\r\n}\r\n"}));
  EXPECT_TRUE(log.RawLines().empty());
}

TEST(LogJson, WritesAScalarAsOneLine) {
  LogCapture log;
  LogJson(LogLevel::Info, Json::Value{});
  LogJson(LogLevel::Info, Json::Value{"caf\xC3\xA9"});
  ASSERT_EQ(log.NarrowTexts().size(), 2u);
  EXPECT_EQ(log.NarrowTexts()[0], "null\r\n");
}

TEST(LogJson, PutsASecondCarriageReturnBeforeALineFeedThatHasOne) {
  // Of all that a value holds only a comment reaches the text with its own line ends.
  Json::Value value{7};
  value.setComment(std::string{"// first\r\n\n// second"}, Json::commentBefore);
  std::string expected;
  for (const char unit : value.toStyledString())
    expected += unit == '\n' ? std::string{"\r\n"} : std::string{unit};
  LogCapture log;
  LogJson(LogLevel::Info, value);
  EXPECT_EQ(log.NarrowTexts(), (Narrow{expected}));
  EXPECT_NE(expected.find("\r\r\n"), std::string::npos);
}

TEST(LogJson, DropsWhatIsBelowTheLowestLevel) {
  LogCapture log{LogLevel::Info};
  LogJson(LogLevel::Debug, Json::Value{1});
  EXPECT_TRUE(log.NarrowTexts().empty());
}

TEST(LogJson, DropsTheCallWithoutALog) {
  EXPECT_NO_FATAL_FAILURE(LogJson(LogLevel::Critical, Json::Value{1}));
}

}  // namespace
