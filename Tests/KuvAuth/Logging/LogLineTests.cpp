#include "KuvAuth/Logging/LogLine.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "LineClock.h"
#include "RecordingHandler.h"
#include "Support/GuardedBuffer.h"

namespace {

using KuvTest::GuardedBuffer;
using KuvTest::LineClock;
using KuvTest::RecordedSystem;

std::wstring Prefix(LogLevel level, const char* file = "file.cpp", bool withLocation = false) {
  wchar_t buffer[2048];
  std::wmemset(buffer, L'#', 2048);
  const std::size_t length = FormatLinePrefix(buffer, file, 42, level, withLocation);
  EXPECT_EQ(std::wcslen(buffer), length);
  return buffer;
}

// The start of a line by the platform's formatter.
std::wstring PlatformPrefix(const SYSTEMTIME& time) {
  wchar_t buffer[256];
  const auto format = [&buffer](const wchar_t* text, ...) {
    va_list arguments;
    va_start(arguments, text);
    _vsnwprintf_s(buffer, 256, _TRUNCATE, text, arguments);
    va_end(arguments);
  };
  format(L"%.2d/%.2d/%.2d %.2d:%.2d:%.2d [%u](%u) ", time.wMonth, time.wDay, time.wYear % 1000, time.wHour,
         time.wMinute, time.wSecond, ::GetCurrentProcessId(), ::GetCurrentThreadId());
  return buffer;
}

TEST(FormatLinePrefix, HasTimeIdsAndTag) {
  const LineClock clock;
  EXPECT_EQ(Prefix(LogLevel::Info), L"06/02/25 12:59:52 [" + std::to_wstring(::GetCurrentProcessId()) +
                                        L"](" + std::to_wstring(::GetCurrentThreadId()) + L") [Info] ");
}

TEST(FormatLinePrefix, TagsEachLevel) {
  const LineClock clock;
  const std::wstring start = LineClock::TimeAndIds();
  const std::pair<int, const wchar_t*> tags[] = {
      {1, L"[Trace] "}, {2, L"[Debug] "},     {3, L"[Info] "}, {4, L"[Warning] "},
      {5, L"[Error] "}, {6, L"[Critical] "},  {7, L""},        {8, L""},
      {9, L""},         {2147483647, L""},    {0, L"[] "},     {-1, L"[] "},
      {-5, L"[] "},     {-2147483647, L"[] "}};
  for (const auto& [level, tag] : tags) {
    SCOPED_TRACE(level);
    EXPECT_EQ(Prefix(LogLevel{level}), start + tag);
  }
}

TEST(FormatLinePrefix, PrintsTheYearModulo1000) {
  LineClock clock;
  const std::pair<WORD, const wchar_t*> years[] = {{2025, L"06/02/25 "},  {2100, L"06/02/100 "},
                                                   {2005, L"06/02/05 "},  {2000, L"06/02/00 "},
                                                   {1999, L"06/02/999 "}, {3000, L"06/02/00 "}};
  for (const auto& [year, text] : years) {
    clock.now.wYear = year;
    EXPECT_TRUE(Prefix(LogLevel::Info).starts_with(text)) << year;
  }
}

TEST(FormatLinePrefix, MatchesThePlatformsFormatter) {
  LineClock clock;
  constexpr WORD kValues[] = {0, 1, 9, 10, 31, 59, 99, 100, 999, 1000, 9999, 10000, 32767, 32768, 65535};
  WORD SYSTEMTIME::*const fields[] = {&SYSTEMTIME::wYear, &SYSTEMTIME::wMonth,  &SYSTEMTIME::wDay,
                                      &SYSTEMTIME::wHour, &SYSTEMTIME::wMinute, &SYSTEMTIME::wSecond};
  const SYSTEMTIME usual = clock.now;
  for (const auto field : fields) {
    for (const WORD value : kValues) {
      clock.now = usual;
      clock.now.*field = value;
      EXPECT_EQ(Prefix(LogLevelPlain), PlatformPrefix(clock.now)) << value;
    }
  }
  for (const WORD value : kValues) {
    for (const auto field : fields) clock.now.*field = value;
    EXPECT_EQ(Prefix(LogLevelPlain), PlatformPrefix(clock.now)) << value;
  }
}

TEST(FormatLinePrefix, PrintsIdsUnsigned) {
  const LineClock clock;
  KUV_IMPORT_HOOK(process, GetCurrentProcessId);
  KUV_IMPORT_HOOK(thread, GetCurrentThreadId);
  process.Answer([] { return DWORD{4294967295u}; });
  thread.Answer([] { return DWORD{0}; });
  EXPECT_EQ(Prefix(LogLevel::Info), L"06/02/25 12:59:52 [4294967295](0) [Info] ");
}

TEST(FormatLinePrefix, ReadsTheTimeThenTheProcessThenTheThread) {
  std::vector<std::string> calls;
  KUV_IMPORT_HOOK(clock, GetLocalTime);
  KUV_IMPORT_HOOK(process, GetCurrentProcessId);
  KUV_IMPORT_HOOK(thread, GetCurrentThreadId);
  clock.Answer([&](SYSTEMTIME* time) {
    *time = {};
    calls.push_back("time");
  });
  process.Answer([&] {
    calls.push_back("process");
    return process.Original();
  });
  thread.Answer([&] {
    calls.push_back("thread");
    return thread.Original();
  });
  wchar_t buffer[2048];
  FormatLinePrefix(buffer, "file.cpp", 42, LogLevel::Info, /*withLocation=*/false);
  const std::vector<std::string> made = calls;  // a failing check calls the platform, too
  EXPECT_EQ(made, (std::vector<std::string>{"time", "process", "thread"}));
}

TEST(FormatLinePrefix, PutsTheLocationBeforeTheTag) {
  const LineClock clock;
  EXPECT_EQ(Prefix(LogLevel::Error, "Src/File.cpp", true),
            LineClock::TimeAndIds() + L"Src/File.cpp(42) [Error] ");
  EXPECT_EQ(Prefix(LogLevelPlain, "Src/File.cpp", true), LineClock::TimeAndIds() + L"Src/File.cpp(42) ");
}

TEST(AppendFormat, ReturnsTheUnitsWritten) {
  wchar_t buffer[16];
  EXPECT_EQ(AppendFormat(buffer, 16, L"%s|%S|%u", L"ab", "cd", 7u), 7u);
  EXPECT_STREQ(buffer, L"ab|cd|7");
  EXPECT_EQ(AppendFormat(buffer, 16, L""), 0u);
  EXPECT_STREQ(buffer, L"");
}

TEST(AppendFormat, TruncatesBelowItsCapacity) {
  wchar_t buffer[8];
  EXPECT_EQ(AppendFormat(buffer, 8, L"%s", L"1234567"), 7u);
  EXPECT_STREQ(buffer, L"1234567");
  std::wmemset(buffer, L'#', 8);
  EXPECT_EQ(AppendFormat(buffer, 8, L"%s", L"12345678"), 7u);
  EXPECT_STREQ(buffer, L"1234567");
  std::wmemset(buffer, L'#', 8);
  EXPECT_EQ(AppendFormat(buffer, 4, L"%s", L"12345678"), 3u);
  EXPECT_STREQ(buffer, L"123");
  EXPECT_EQ(buffer[4], L'#');
}

TEST(AppendFormat, RejectsNullAndZero) {
  wchar_t buffer[2] = {L'#', L'#'};
  EXPECT_EQ(AppendFormat(nullptr, 2, L"a"), 0u);
  EXPECT_EQ(AppendFormat(buffer, 2, nullptr), 0u);
  EXPECT_EQ(AppendFormat(buffer, 0, L"a"), 0u);
  EXPECT_EQ(buffer[0], L'#');
}

// Each text ends at unreadable memory.
template <typename Unit>
void CheckShortTexts() {
  const std::wstring prefix = LineClock::TimeAndIds() + L"[Info] ";
  for (std::size_t length = 0; length <= 40; ++length) {
    std::basic_string<Unit> text;
    for (std::size_t i = 0; i < length; ++i) text += static_cast<Unit>('A' + i);
    const auto guarded = GuardedBuffer<Unit>::Text(text.data(), length);
    RecordedSystem recorded;
    recorded.system.Write(LogLevel::Info, "file.cpp", 1, guarded.Get());
    EXPECT_EQ(recorded.Line(), prefix + std::wstring(text.begin(), text.end()) + L"\r\n");
  }
}

TEST(LogLine, ContainsATextOfAnyLengthAndReadsNothingAfterIt) {
  const LineClock clock;
  CheckShortTexts<char>();
  CheckShortTexts<wchar_t>();
}

// Lengths around every boundary of a line.
const std::size_t kLengths[] = {1900, 1950, 2000, 2040, 2044, 2045, 2046, 2047, 2048, 2049, 4095, 4096, 5000};

template <typename Text>
void CheckTruncation(std::size_t limit) {
  using Unit = typename Text::value_type;
  const std::wstring prefix = LineClock::TimeAndIds() + L"[Info] ";
  std::vector<std::size_t> lengths{std::begin(kLengths), std::end(kLengths)};
  for (std::size_t length = limit - 3; length <= limit + 3; ++length) lengths.push_back(length);
  for (const std::size_t length : lengths) {
    SCOPED_TRACE(length);
    RecordedSystem recorded;
    // The last unit of each text differs, so that truncation shows.
    recorded.system.Write(LogLevel::Info, "file.cpp", 1, (Text(length - 1, Unit{'m'}) + Unit{'e'}).c_str());
    const std::wstring message = std::wstring(length - 1, L'm') + L'e';
    EXPECT_EQ(recorded.Line(), prefix + message.substr(0, limit) + L"\r\n");
  }
}

TEST(LogLine, TruncatesANarrowMessageAt2045UnitsWithItsPrefix) {
  const LineClock clock;
  CheckTruncation<std::string>(2045 - Prefix(LogLevel::Info).size());
}

TEST(LogLine, TruncatesAWideMessageEarlierByTheLengthOfThePrefix) {
  const LineClock clock;
  CheckTruncation<std::wstring>(2045 - 2 * Prefix(LogLevel::Info).size());
}

TEST(LogLine, LosesTheTailOfANarrowMessageThatIsNotAsciiButOfNoWideOne) {
  const LineClock clock;
  const auto line = [](const auto* text) {
    RecordedSystem recorded;
    recorded.system.Write(LogLevel::Info, "file.cpp", 1, text);
    return recorded.Line();
  };
  const std::wstring prefix = LineClock::TimeAndIds() + L"[Info] ";
  EXPECT_EQ(line("\xC3\xA9"), prefix + L"\r\n");
  EXPECT_EQ(line("na\xC3\xAFve text"), prefix + L"na\xEFve tex\r\n");
  EXPECT_EQ(line(L"na\xEFve \x20AC"), prefix + L"na\xEFve \x20AC\r\n");
}

TEST(LogLine, HasAnEmptyMessageIfItsConversionFails) {
  const LineClock clock;
  KUV_IMPORT_HOOK(convert, MultiByteToWideChar);
  convert.Answer([](UINT, DWORD, const char*, int, wchar_t*, int) { return 0; });
  RecordedSystem recorded;
  recorded.system.Write(LogLevel::Info, "file.cpp", 1, "na\xC3\xAFve");
  EXPECT_EQ(recorded.Line(), LineClock::TimeAndIds() + L"[Info] \r\n");
}

TEST(LogLine, ShowsTheLocationAtOrBelowTheLocationLevel) {
  const LineClock clock;
  RecordedSystem recorded;
  recorded.system.locationLevel = LogLevel::Debug;
  for (const LogLevel level : {LogLevel::Trace, LogLevel::Debug, LogLevel::Info}) {
    recorded.system.Write(level, "a.cpp", 4294967295u, L"text");
    recorded.system.Write(level, "a.cpp", 0, "text");
  }
  const std::wstring start = LineClock::TimeAndIds();
  const std::vector<std::pair<LogLevel, std::wstring>> expected{
      {LogLevel::Trace, start + L"a.cpp(4294967295) [Trace] text\r\n"},
      {LogLevel::Trace, start + L"a.cpp(0) [Trace] text\r\n"},
      {LogLevel::Debug, start + L"a.cpp(4294967295) [Debug] text\r\n"},
      {LogLevel::Debug, start + L"a.cpp(0) [Debug] text\r\n"},
      {LogLevel::Info, start + L"[Info] text\r\n"},
      {LogLevel::Info, start + L"[Info] text\r\n"}};
  EXPECT_EQ(recorded.handler->wide, expected);
}

// The line for a location of any length: each part is truncated at the end of the buffer of 2,048 units or
// at the limit of the message.
template <typename Unit>
std::wstring ExpectedLine(std::size_t fileLength, std::size_t messageLength) {
  std::wstring line = LineClock::TimeAndIds() + std::wstring(fileLength, L'f') + L"(42) ";
  line = (line.substr(0, 2047) + L"[Info] ").substr(0, 2047);
  const std::size_t limit = sizeof(Unit) == 1 ? 2045 : 2045 - std::min<std::size_t>(line.size(), 2045);
  if (line.size() < limit) line += std::wstring(messageLength, L'm').substr(0, limit - line.size());
  return (line + L"\r\n").substr(0, 2047);
}

template <typename Unit>
void CheckLocationsOfEveryLength() {
  const LineClock clock;
  for (std::size_t fileLength = 0; fileLength <= 2100; ++fileLength) {
    for (const std::size_t messageLength : {std::size_t{1}, std::size_t{3000}}) {
      RecordedSystem recorded;
      recorded.system.locationLevel = LogLevel::Info;
      recorded.system.Write(LogLevel::Info, std::string(fileLength, 'f').c_str(), 42,
                            std::basic_string<Unit>(messageLength, Unit{'m'}).c_str());
      ASSERT_EQ(recorded.Line(), ExpectedLine<Unit>(fileLength, messageLength)) << fileLength;
    }
  }
}

TEST(LogLine, AcceptsALocationOfAnyLength) {
  CheckLocationsOfEveryLength<char>();
  CheckLocationsOfEveryLength<wchar_t>();
}

}  // namespace
