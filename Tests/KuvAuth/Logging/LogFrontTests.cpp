#include "KuvAuth/Logging/LogFront.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "LineClock.h"
#include "RecordingHandler.h"
#include "Support/LogCapture.h"

namespace {

using KuvTest::LineClock;
using KuvTest::LogCapture;
using KuvTest::LogLines;
using KuvTest::RecordedSystem;

constexpr LogRecord Record(LogLevel level) {
  return {level, "file.cpp", 42};
}

TEST(LogLevelName, NamesSixLevelsAndIsEmptyForEveryOtherValue) {
  const std::pair<int, const wchar_t*> rows[] = {
      {1, L"Trace"},    {2, L"Debug"},     {3, L"Info"},      {4, L"Warning"}, {5, L"Error"},
      {6, L"Critical"}, {0, L""},          {-1, L""},         {7, L""},        {8, L""},
      {100, L""},       {2147483647, L""}, {-2147483647, L""}};
  for (const auto& [level, name] : rows) EXPECT_STREQ(LogLevelName(LogLevel{level}), name) << level;
}

TEST(LogLevel, PlainIsSeven) {
  EXPECT_EQ(static_cast<int>(LogLevelPlain), 7);
}

TEST(LogFront, StartsWithoutALogSystem) {
  EXPECT_EQ(g_logSystem, nullptr);
}

TEST(LogFront, ReturnsTheMainLogByReference) {
  EXPECT_EQ(&GetLogSystem(), &g_logSystem);
}

TEST(LogFront, DropsEveryCallWithoutALogSystem) {
  KUV_IMPORT_HOOK(clock, GetLocalTime);
  LogFormat(Record(LogLevel::Critical), "text");
  LogFormat(Record(LogLevel::Critical), L"text");
  LogString(Record(LogLevel::Critical), std::string{"text"});
  LogString(Record(LogLevel::Critical), std::wstring{L"text"});
  KUV_LOG(LogLevel::Critical, "text");
  EXPECT_EQ(clock.CallCount(), 0u);
}

TEST(IsLogLevelEnabled, IsFalseForEveryLevelWithoutALogSystem) {
  for (const int level : {-1, 0, 1, 2, 3, 4, 5, 6, 7, 2147483647}) {
    EXPECT_FALSE(IsLogLevelEnabled(LogLevel{level})) << level;
  }
}

TEST(IsLogLevelEnabled, ComparesLevelsAsSigned) {
  LogCapture log{LogLevel::Info};
  for (const int level : {-2147483647, -1, 0, 1, 2})
    EXPECT_FALSE(IsLogLevelEnabled(LogLevel{level})) << level;
  for (const int level : {3, 4, 5, 6, 7, 8, 2147483647})
    EXPECT_TRUE(IsLogLevelEnabled(LogLevel{level})) << level;
  log.System().minLevel = LogLevel{-3};
  EXPECT_FALSE(IsLogLevelEnabled(LogLevel{-4}));
  EXPECT_TRUE(IsLogLevelEnabled(LogLevel{-3}));
}

TEST(LogFormat, WritesOneLineForEitherWidth) {
  const LineClock clock;
  LogCapture log;
  LogFormat(Record(LogLevel::Info), "%s %d", "narrow", 1);
  LogFormat(Record(LogLevel::Error), L"%s %S", L"wide", "narrow");
  EXPECT_EQ(log.RawLines(),
            (std::vector<std::wstring>{LineClock::TimeAndIds() + L"[Info] narrow 1\r\n",
                                       LineClock::TimeAndIds() + L"[Error] wide narrow\r\n"}));
  EXPECT_TRUE(log.NarrowTexts().empty());
}

TEST(LogFormat, DropsANullFormatAndWhatIsBelowTheMinimumLevel) {
  LogCapture log{LogLevel::Info};
  const char* const narrow = nullptr;
  const wchar_t* const wide = nullptr;
  LogFormat(Record(LogLevel::Info), narrow);
  LogFormat(Record(LogLevel::Info), wide);
  // A formatted call would read this as text.
  const char* const noText = reinterpret_cast<const char*>(std::uintptr_t{1});
  LogFormat(Record(LogLevel::Debug), "%s", noText);
  LogFormat(Record(LogLevel::Debug), L"%S", noText);
  LogFormat(Record(LogLevel::Info), "kept");
  LogFormat(Record(LogLevel::Warning), L"kept");
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Info, "kept"}, {LogLevel::Warning, "kept"}}));
}

TEST(LogFormat, WritesALineForAnEmptyText) {
  const LineClock clock;
  LogCapture log;
  LogFormat(Record(LogLevel::Info), "%s", "");
  LogFormat(Record(LogLevel::Info), L"%s", L"");
  const std::wstring line = LineClock::TimeAndIds() + L"[Info] \r\n";
  EXPECT_EQ(log.RawLines(), (std::vector<std::wstring>{line, line}));
}

TEST(LogFormat, WritesALineWithoutMessageIfFormattingFails) {
  LogCapture log;
  // This character cannot be formatted as 8-bit text in the "C" locale.
  LogFormat(Record(LogLevel::Info), "before %ls after", L"\x2603");
  const wchar_t* const unfinished = L"before %";
  LogFormat(Record(LogLevel::Warning), unfinished);
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Info, ""}, {LogLevel::Warning, ""}}));
}

TEST(LogFormatAndLogString, TruncateALongMessageToALine) {
  const LineClock clock;
  const std::wstring prefix = LineClock::TimeAndIds() + L"[Info] ";
  const std::string narrow(5000, 'n');
  const std::wstring wide(5000, L'w');
  LogCapture log;
  LogFormat(Record(LogLevel::Info), "%s", narrow.c_str());
  LogFormat(Record(LogLevel::Info), L"%s", wide.c_str());
  LogString(Record(LogLevel::Info), narrow);
  LogString(Record(LogLevel::Info), wide);
  const std::wstring narrowLine = prefix + std::wstring(2045 - prefix.size(), L'n') + L"\r\n";
  const std::wstring wideLine = prefix + std::wstring(2045 - 2 * prefix.size(), L'w') + L"\r\n";
  EXPECT_EQ(log.RawLines(), (std::vector<std::wstring>{narrowLine, wideLine, narrowLine, wideLine}));
}

TEST(LogFormatAndLogString, PassFileAndLineOn) {
  const LineClock clock;
  LogCapture log;
  log.System().locationLevel = LogLevel::Info;
  LogFormat(Record(LogLevel::Info), "narrow");
  LogFormat(Record(LogLevel::Info), L"wide");
  LogString(Record(LogLevel::Info), std::string{"narrow"});
  LogString(Record(LogLevel::Info), std::wstring{L"wide"});
  const std::wstring start = LineClock::TimeAndIds() + L"file.cpp(42) [Info] ";
  const std::wstring narrow = start + L"narrow\r\n";
  const std::wstring wide = start + L"wide\r\n";
  EXPECT_EQ(log.RawLines(), (std::vector<std::wstring>{narrow, wide, narrow, wide}));
}

TEST(KuvLog, RecordsTheCallersFileAndLine) {
  const LineClock clock;
  LogCapture log;
  log.System().locationLevel = LogLevel::Info;
  const std::wstring line = std::to_wstring(__LINE__ + 1);
  KUV_LOG(LogLevel::Info, "text");
  ASSERT_EQ(log.RawLines().size(), 1u);
  EXPECT_TRUE(log.RawLines()[0].ends_with(L"LogFrontTests.cpp(" + line + L") [Info] text\r\n"));
}

TEST(KuvLog, DoesNotEvaluateArgumentsOfAFilteredCall) {
  LogCapture log{LogLevel::Info};
  int evaluated = 0;
  const auto argument = [&] { return ++evaluated; };
  KUV_LOG(LogLevel::Debug, "%d", argument());
  KUV_LOG(LogLevel::Debug, L"%d", argument());
  EXPECT_EQ(evaluated, 0);
  KUV_LOG(LogLevel::Info, "%d", argument());
  EXPECT_EQ(evaluated, 1);
}

TEST(LogString, WritesTextUnformattedUnlessItIsEmptyOrBelowTheMinimumLevel) {
  LogCapture log{LogLevel::Info};
  LogString(Record(LogLevel::Info), std::string{"100%s %d"});
  LogString(Record(LogLevel::Info), std::wstring{L"100%s %d"});
  LogString(Record(LogLevel::Info), std::string{});
  LogString(Record(LogLevel::Info), std::wstring{});
  LogString(Record(LogLevel::Debug), std::string{"dropped"});
  LogString(Record(LogLevel::Debug), std::wstring{L"dropped"});
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Info, "100%s %d"}, {LogLevel::Info, "100%s %d"}}));
}

TEST(LogToAndLogFormatTo, WriteToTheGivenSystemOnly) {
  const LineClock clock;
  const std::wstring start = LineClock::TimeAndIds();
  const std::wstring info = start + L"[Info] ";
  const std::wstring text(5000, L'w');
  const wchar_t* const unfinished = L"before %";
  // A formatted call would read this as text.
  const char* const noText = reinterpret_cast<const char*>(std::uintptr_t{1});
  constexpr LogRecord kInfo = Record(LogLevel::Info);
  const struct {
    const char* name;
    std::function<void(Kuv::LogSystem&)> write;
    std::wstring line;  // empty: no line
  } rows[] = {
      {"empty text", [&](auto& log) { LogTo(kInfo, log, L""); }, info + L"\r\n"},
      {"null text", [&](auto& log) { LogTo(kInfo, log, nullptr); }, L""},
      {"text below", [&](auto& log) { LogTo(Record(LogLevel::Debug), log, L"dropped"); }, L""},
      {"format", [&](auto& log) { LogFormatTo(Record(LogLevel::Warning), log, L"%s %S", L"wide", "narrow"); },
       start + L"[Warning] wide narrow\r\n"},
      {"null format", [&](auto& log) { LogFormatTo(kInfo, log, nullptr); }, L""},
      {"format below", [&](auto& log) { LogFormatTo(Record(LogLevel::Debug), log, L"%S", noText); }, L""},
      {"long text", [&](auto& log) { LogFormatTo(kInfo, log, L"%s", text.c_str()); },
       info + text.substr(0, 2045 - 2 * info.size()) + L"\r\n"},
      {"failed format", [&](auto& log) { LogFormatTo(kInfo, log, unfinished); }, info + L"\r\n"},
      {"location",
       [&](auto& log) {
         log.locationLevel = LogLevel::Info;
         LogTo(kInfo, log, L"100%s");
       },
       start + L"file.cpp(42) [Info] 100%s\r\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    LogCapture main;
    RecordedSystem other{LogLevel::Info};
    row.write(other.system);
    EXPECT_EQ(other.handler->wide.empty() ? L"" : other.Line(), row.line);
    EXPECT_TRUE(main.RawLines().empty());
  }
}

// The runtime of Visual C++ is linked statically, so its formatter has no import.
#if !defined(_MSC_VER) && defined(_WIN64)
TEST(LogFormatAndLogFormatTo, TestTheLevelAgainAfterFormatting) {
  RecordedSystem recorded{LogLevel::Info};
  const auto raise = [&](auto& hook) {
    hook.Answer([&](auto... arguments) {
      recorded.system.minLevel = LogLevel::Critical;
      return hook.Original(arguments...);
    });
  };
  KuvTest::ImportHook<int (*)(char*, std::size_t, std::size_t, const char*, char*)> narrow{"_vsnprintf_s"};
  KuvTest::ImportHook<int (*)(wchar_t*, std::size_t, std::size_t, const wchar_t*, char*)> wide{
      "_vsnwprintf_s"};
  raise(narrow);
  raise(wide);
  // Shares no ownership: the system is on the stack.
  g_logSystem = {std::shared_ptr<void>{}, &recorded.system};
  LogFormat(Record(LogLevel::Info), "%s", "text");
  recorded.system.minLevel = LogLevel::Info;
  LogFormat(Record(LogLevel::Info), L"%s", L"text");
  recorded.system.minLevel = LogLevel::Info;
  LogFormatTo(Record(LogLevel::Info), recorded.system, L"%s", L"text");
  g_logSystem.reset();
  EXPECT_EQ(narrow.CallCount() + wide.CallCount(), 3u);
  EXPECT_TRUE(recorded.handler->wide.empty());
}
#endif

}  // namespace
