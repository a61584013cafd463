#include "KuvAuth/Logging/LogMessage.h"

#include <algorithm>
#include <cwchar>
#include <string>

#include <gtest/gtest.h>

#include "Support/ImportHook.h"

namespace {

using Kuv::AppendLineEnd;
using Kuv::FormatLogMessage;
using Kuv::kLogLineCapacity;

template <typename Unit>
std::basic_string<Unit> Format(const Unit* format, ...) {
  Unit message[kLogLineCapacity];
  std::char_traits<Unit>::assign(message, kLogLineCapacity, Unit{'#'});
  va_list arguments;
  va_start(arguments, format);
  FormatLogMessage(message, format, arguments);
  va_end(arguments);
  return message;
}

TEST(FormatLogMessage, FormatsTextOfItsOwnWidth) {
  EXPECT_EQ(Format("%s|%S|%d|0x%08X", "narrow", L"wide", -7, 0xABCu), "narrow|wide|-7|0x00000ABC");
  EXPECT_EQ(Format(L"%s|%S|%d|0x%08X", L"wide", "narrow", -7, 0xABCu), L"wide|narrow|-7|0x00000ABC");
}

TEST(FormatLogMessage, IsEmptyForAnEmptyFormat) {
  EXPECT_EQ(Format(""), "");
  EXPECT_EQ(Format(L""), L"");
}

TEST(FormatLogMessage, TruncatesTo2047Units) {
  for (const std::size_t length : {2045u, 2046u, 2047u, 2048u, 2049u, 4095u, 4096u, 5000u}) {
    SCOPED_TRACE(length);
    const std::string narrow = std::string(length - 1, 'm') + 'e';
    const std::wstring wide = std::wstring(length - 1, L'm') + L'e';
    EXPECT_EQ(Format("%s", narrow.c_str()), narrow.substr(0, 2047));
    EXPECT_EQ(Format(L"%s", wide.c_str()), wide.substr(0, 2047));
  }
}

TEST(FormatLogMessage, IsEmptyIfFormattingFails) {
  // This character cannot be formatted as 8-bit text in the "C" locale.
  EXPECT_EQ(Format("before %S after", L"\x2603"), "");
  const std::string longStart(2000, 'x');
  EXPECT_EQ(Format("%s%S", longStart.c_str(), L"\x2603"), "");
  const wchar_t* const unfinished = L"before %";
  EXPECT_EQ(Format(unfinished), L"");
}

// The runtime of Visual C++ is linked statically, so its formatter has no import.
#if !defined(_MSC_VER) && defined(_WIN64)
template <typename Unit>
std::size_t RejectedLength(const char* formatter) {
  KuvTest::ImportHook<int (*)(Unit*, std::size_t, std::size_t, const Unit*, char*)> hook{formatter};
  hook.Answer([](Unit* buffer, std::size_t capacity, auto...) {
    std::fill_n(buffer, capacity, static_cast<Unit>(0xFE));
    buffer[0] = Unit{};
    return -1;
  });
  Unit message[kLogLineCapacity];
  const Unit format[] = {'%', 0};
  const std::size_t length = FormatLogMessage(message, format, nullptr);
  EXPECT_EQ(hook.CallCount(), 1u);
  EXPECT_EQ(message[0], Unit{});
  return length;
}

TEST(FormatLogMessage, IsEmptyIfTheFormatterFillsABufferWhoseFormatItRejects) {
  EXPECT_EQ(RejectedLength<char>("_vsnprintf_s"), 0u);
  EXPECT_EQ(RejectedLength<wchar_t>("_vsnwprintf_s"), 0u);
}
#endif

TEST(FormatLogMessage, KeepsATruncatedMessageWithANul) {
  EXPECT_EQ(Format("ab%c%03000d", '\0', 1), "ab");
  EXPECT_EQ(Format(L"ab%c%03000d", L'\0', 1), L"ab");
}

template <typename Unit>
std::basic_string<Unit> WithLineEnd(std::size_t length) {
  Unit buffer[kLogLineCapacity];
  std::char_traits<Unit>::assign(buffer, kLogLineCapacity, Unit{'#'});
  AppendLineEnd(buffer, length);
  return buffer;
}

TEST(AppendLineEnd, FollowsTheText) {
  EXPECT_EQ(WithLineEnd<char>(0), "\r\n");
  EXPECT_EQ(WithLineEnd<wchar_t>(3), L"###\r\n");
}

TEST(AppendLineEnd, IsTruncatedAtTheEndOfTheBuffer) {
  EXPECT_EQ(WithLineEnd<char>(2045), std::string(2045, '#') + "\r\n");
  EXPECT_EQ(WithLineEnd<char>(2046), std::string(2046, '#') + "\r");
  EXPECT_EQ(WithLineEnd<char>(2047), std::string(2047, '#'));
  EXPECT_EQ(WithLineEnd<wchar_t>(2045), std::wstring(2045, L'#') + L"\r\n");
  EXPECT_EQ(WithLineEnd<wchar_t>(2046), std::wstring(2046, L'#') + L"\r");
  EXPECT_EQ(WithLineEnd<wchar_t>(2047), std::wstring(2047, L'#'));
}

}  // namespace
