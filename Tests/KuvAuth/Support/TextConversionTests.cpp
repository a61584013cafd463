#include <algorithm>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "KuvAuth/Support/Text.h"
#include "Support/GuardedBuffer.h"
#include "Support/ImportHook.h"

namespace {

using namespace std::string_literals;
using KuvTest::GuardedBuffer;

// Text of one to four bytes a character: "a", U+00E4, U+20AC and U+1F511.
constexpr char kNarrow[] = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x94\x91";
constexpr wchar_t kWide[] = L"a\x00E4\x20AC\xD83D\xDD11";

TEST(Utf8ToWide, ConvertsAPointerAndAString) {
  EXPECT_EQ(Utf8ToWide(kNarrow), kWide);
  EXPECT_EQ(Utf8ToWide(std::string{kNarrow}), kWide);
}

TEST(Utf8ToWide, GivesAnEmptyStringForNullAndEmptyText) {
  EXPECT_EQ(Utf8ToWide(static_cast<const char*>(nullptr)), L"");
  EXPECT_EQ(Utf8ToWide(""), L"");
  EXPECT_EQ(Utf8ToWide(std::string{}), L"");
}

TEST(Utf8ToWide, EndsAtTheFirstNul) {
  EXPECT_EQ(Utf8ToWide("ab\0cd"s), L"ab");
  EXPECT_EQ(Utf8ToWide("\0cd"s), L"");
}

TEST(Utf8ToWide, ReplacesBadSequences) {
  EXPECT_EQ(Utf8ToWide("a\xFFz"), L"a\xFFFDz");
  EXPECT_EQ(Utf8ToWide("a\xC3"), L"a\xFFFD");
}

TEST(Utf8ToWide, HasNoFixedLimit) {
  EXPECT_EQ(Utf8ToWide(std::string(100'000, 'x')), std::wstring(100'000, L'x'));
}

TEST(Utf8ToWide, ReadsNothingBehindTheNul) {
  const GuardedBuffer<char> text = GuardedBuffer<char>::Text("abc", 3);
  EXPECT_EQ(Utf8ToWide(text.Get()), L"abc");
}

TEST(Utf8ToWide, AsksForTheLengthAndThenConverts) {
  std::wstring result;
  KUV_IMPORT_HOOK(convert, MultiByteToWideChar);
  const char* const text = "abc";
  result = Utf8ToWide(text);
  EXPECT_EQ(result, L"abc");
  ASSERT_EQ(convert.CallCount(), 2u);
  EXPECT_EQ(convert.Calls()[0], std::make_tuple(65001u, 0ul, text, -1, nullptr, 0));
  const auto& [codePage, flags, source, length, target, room] = convert.Calls()[1];
  EXPECT_EQ(std::tie(codePage, flags, source, length), std::make_tuple(65001u, 0ul, text, -1));
  EXPECT_NE(target, nullptr);
  EXPECT_EQ(room, 4);
}

TEST(Utf8ToWide, GivesAnEmptyStringIfTheLengthIsNotPositive) {
  for (const int needed : {0, -1}) {
    SCOPED_TRACE(needed);
    KUV_IMPORT_HOOK(convert, MultiByteToWideChar);
    convert.Script({[=](auto...) { return needed; }});
    EXPECT_EQ(Utf8ToWide("abc"), L"");
  }
}

TEST(Utf8ToWide, GivesZerosIfTheConversionFailsAfterItsLengthIsKnown) {
  KUV_IMPORT_HOOK(convert, MultiByteToWideChar);
  convert.AnswerCall(2, [](auto...) { return 0; });
  EXPECT_EQ(Utf8ToWide("abc"), std::wstring(4, L'\0'));
}

TEST(Utf8ToWide, CutsTheStringToWhatWasConverted) {
  KUV_IMPORT_HOOK(convert, MultiByteToWideChar);
  convert.AnswerCall(2, [](UINT, DWORD, const char*, int, wchar_t* target, int) {
    std::copy_n(L"xy", 3, target);
    return 3;
  });
  EXPECT_EQ(Utf8ToWide("abcdef"), L"xy");
}

TEST(WideToUtf8, ConvertsAPointerAndAString) {
  EXPECT_EQ(WideToUtf8(kWide), kNarrow);
  EXPECT_EQ(WideToUtf8(std::wstring{kWide}), kNarrow);
}

TEST(WideToUtf8, GivesAnEmptyStringForNullAndEmptyText) {
  EXPECT_EQ(WideToUtf8(static_cast<const wchar_t*>(nullptr)), "");
  EXPECT_EQ(WideToUtf8(L""), "");
  EXPECT_EQ(WideToUtf8(std::wstring{}), "");
}

TEST(WideToUtf8, EndsAtTheFirstNul) {
  EXPECT_EQ(WideToUtf8(L"ab\0cd"s), "ab");
  EXPECT_EQ(WideToUtf8(L"\0cd"s), "");
}

TEST(WideToUtf8, ReplacesALoneSurrogate) {
  const std::wstring text{L'a', static_cast<wchar_t>(0xD800), L'z'};
  EXPECT_EQ(WideToUtf8(text), "a\xEF\xBF\xBDz");
}

TEST(WideToUtf8, HasNoFixedLimit) {
  EXPECT_EQ(WideToUtf8(std::wstring(100'000, L'x')), std::string(100'000, 'x'));
}

TEST(WideToUtf8, ReadsNothingBehindTheNul) {
  const GuardedBuffer<wchar_t> text = GuardedBuffer<wchar_t>::Text(L"abc", 3);
  EXPECT_EQ(WideToUtf8(text.Get()), "abc");
}

TEST(WideToUtf8, AsksForTheLengthAndThenConverts) {
  std::string result;
  KUV_IMPORT_HOOK(convert, WideCharToMultiByte);
  const wchar_t* const text = L"abc";
  result = WideToUtf8(text);
  EXPECT_EQ(result, "abc");
  ASSERT_EQ(convert.CallCount(), 2u);
  EXPECT_EQ(convert.Calls()[0], std::make_tuple(65001u, 0ul, text, -1, nullptr, 0, nullptr, nullptr));
  const auto& [codePage, flags, source, length, target, room, fallback, fallbackUsed] = convert.Calls()[1];
  EXPECT_EQ(std::tie(codePage, flags, source, length), std::make_tuple(65001u, 0ul, text, -1));
  EXPECT_NE(target, nullptr);
  EXPECT_EQ(room, 4);
  EXPECT_EQ(fallback, nullptr);
  EXPECT_EQ(fallbackUsed, nullptr);
}

TEST(WideToUtf8, GivesAnEmptyStringIfTheLengthIsNotPositive) {
  for (const int needed : {0, -1}) {
    SCOPED_TRACE(needed);
    KUV_IMPORT_HOOK(convert, WideCharToMultiByte);
    convert.Script({[=](auto...) { return needed; }});
    EXPECT_EQ(WideToUtf8(L"abc"), "");
  }
}

TEST(WideToUtf8, GivesZerosIfTheConversionFailsAfterItsLengthIsKnown) {
  KUV_IMPORT_HOOK(convert, WideCharToMultiByte);
  convert.AnswerCall(2, [](auto...) { return 0; });
  EXPECT_EQ(WideToUtf8(L"abc"), std::string(4, '\0'));
}

TEST(WideToUtf8, CutsTheStringToWhatWasConverted) {
  KUV_IMPORT_HOOK(convert, WideCharToMultiByte);
  convert.AnswerCall(2, [](UINT, DWORD, const wchar_t*, int, char* target, int, const char*, BOOL*) {
    std::copy_n("xy", 3, target);
    return 3;
  });
  EXPECT_EQ(WideToUtf8(L"abcdef"), "xy");
}

}  // namespace
