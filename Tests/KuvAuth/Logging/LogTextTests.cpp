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

TEST(LogText, AddsALineEndUnlessTheTextEndsInALineFeed) {
  const std::string longText(100000, 'x');
  const std::pair<std::string, Narrow> rows[] = {
      {"one\ntwo\n", {"one\ntwo\n"}},
      {"one\r\ntwo\r\n", {"one\r\ntwo\r\n"}},
      {"\n", {"\n"}},
      {"text", {"text", "\r\n"}},
      {"\r", {"\r", "\r\n"}},
      {"text\n\r", {"text\n\r", "\r\n"}},
      {longText, {longText, "\r\n"}},
      {"", {}},
  };
  for (const auto& [text, expected] : rows) {
    SCOPED_TRACE(::testing::PrintToString(text.substr(0, 20)));
    LogCapture log;
    LogText(LogLevel::Info, text.c_str());
    EXPECT_EQ(log.NarrowTexts(), expected);
    EXPECT_TRUE(log.RawLines().empty());
    log.Clear();
    LogText(LogLevel::Info, std::wstring{text.begin(), text.end()}.c_str());
    Wide wide;
    for (const std::string& piece : expected) wide.emplace_back(piece.begin(), piece.end());
    EXPECT_EQ(log.RawLines(), wide);
    EXPECT_TRUE(log.NarrowTexts().empty());
  }
}

TEST(LogText, AcquiresTheLockForEachOfItsTwoWrites) {
  const LogCapture log;
  KUV_IMPORT_HOOK(enter, EnterCriticalSection);
  LogText(LogLevel::Info, "text");
  EXPECT_EQ(enter.CallCount(), 2u);
}

TEST(LogText, DropsNullAndWhatIsBelowTheMinimumLevel) {
  LogCapture log{LogLevel::Info};
  LogText(LogLevel::Info, static_cast<const char*>(nullptr));
  LogText(LogLevel::Info, static_cast<const wchar_t*>(nullptr));
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

TEST(LogJson, AddsACarriageReturnBeforeEveryLineFeed) {
  // Only a comment reaches the text with its own line ends.
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

TEST(LogJson, DropsWhatIsBelowTheMinimumLevel) {
  LogCapture log{LogLevel::Info};
  LogJson(LogLevel::Debug, Json::Value{1});
  EXPECT_TRUE(log.NarrowTexts().empty());
}

TEST(LogJson, DropsTheCallWithoutALog) {
  EXPECT_NO_FATAL_FAILURE(LogJson(LogLevel::Critical, Json::Value{1}));
}

}  // namespace
