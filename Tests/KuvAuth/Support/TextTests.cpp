#include "KuvAuth/Support/Text.h"

#include <cctype>
#include <cwctype>
#include <string>

#include <gtest/gtest.h>

namespace {

using namespace std::string_literals;

TEST(ToLowerAscii, LowersACopy) {
  const std::string text = "Api-01.EXAMPLE.Com:8443";
  EXPECT_EQ(ToLowerAscii(text), "api-01.example.com:8443");
  EXPECT_EQ(text, "Api-01.EXAMPLE.Com:8443");
}

TEST(ToLowerAscii, LowersWideText) {
  const std::wstring text = L"Api-01.EXAMPLE.Com";
  EXPECT_EQ(ToLowerAscii(text), L"api-01.example.com");
  EXPECT_EQ(text, L"Api-01.EXAMPLE.Com");
}

TEST(ToLowerAscii, TakesAPointer) {
  EXPECT_EQ(ToLowerAscii("ABC"), "abc");
  EXPECT_EQ(ToLowerAscii(L"ABC"), L"abc");
}

TEST(ToLowerAscii, GivesAnEmptyStringForNull) {
  EXPECT_EQ(ToLowerAscii(static_cast<const char*>(nullptr)), "");
  EXPECT_EQ(ToLowerAscii(static_cast<const wchar_t*>(nullptr)), L"");
}

TEST(ToLowerAscii, GoesOnBehindANulOfAString) {
  EXPECT_EQ(ToLowerAscii("A\0B"s), "a\0b"s);
  EXPECT_EQ(ToLowerAscii(L"A\0B"s), L"a\0b"s);
}

TEST(ToLowerAscii, LeavesTheBytesOfUtf8Alone) {
  EXPECT_EQ(ToLowerAscii("\xC3\x84\xC3\x96"), "\xC3\x84\xC3\x96");
}

TEST(ToLowerAscii, TreatsEveryUnitAsTheCharacterTablesDo) {
  for (int unit = 0; unit < 0x100; ++unit) {
    SCOPED_TRACE(unit);
    ASSERT_EQ(ToLowerAscii(std::string(1, static_cast<char>(unit))),
              std::string(1, static_cast<char>(std::tolower(unit))));
  }
  for (unsigned unit = 0; unit < 0x10000; ++unit) {
    const auto wide = static_cast<wchar_t>(unit);
    if (ToLowerAscii(std::wstring(1, wide))[0] != static_cast<wchar_t>(std::towlower(wide))) {
      ADD_FAILURE() << "unit " << unit;
    }
  }
}

TEST(ToLowerInPlace, ChangesTheStringItself) {
  std::string text = "Host";
  ToLowerInPlace(text);
  EXPECT_EQ(text, "host");
  std::wstring wide = L"Host";
  ToLowerInPlace(wide);
  EXPECT_EQ(wide, L"host");
}

TEST(RemoveWhitespace, DeletesItWhereverItStands) {
  std::string text = " \t a\n b\v\f \r c ";
  RemoveWhitespace(text);
  EXPECT_EQ(text, "abc");
  std::wstring wide = L" \t a\n b\v\f \r c ";
  RemoveWhitespace(wide);
  EXPECT_EQ(wide, L"abc");
}

TEST(RemoveWhitespace, LeavesNothingOfWhitespaceAlone) {
  std::string text = " \r\n";
  RemoveWhitespace(text);
  EXPECT_EQ(text, "");
  RemoveWhitespace(text);
  EXPECT_EQ(text, "");
}

TEST(RemoveWhitespace, KeepsNulsAndTheBytesOfUtf8) {
  std::string text = "\xE2\x82\xAC \0 x"s;
  RemoveWhitespace(text);
  EXPECT_EQ(text, "\xE2\x82\xAC\0x"s);
}

TEST(RemoveWhitespace, DecidesEveryUnitAsTheCharacterTablesDo) {
  for (int unit = 0; unit < 0x100; ++unit) {
    SCOPED_TRACE(unit);
    std::string text(1, static_cast<char>(unit));
    RemoveWhitespace(text);
    ASSERT_EQ(text.empty(), std::isspace(unit) != 0);
  }
  for (unsigned unit = 0; unit < 0x10000; ++unit) {
    const auto wide = static_cast<wchar_t>(unit);
    std::wstring text(1, wide);
    RemoveWhitespace(text);
    if (text.empty() != (std::iswspace(wide) != 0)) ADD_FAILURE() << "unit " << unit;
  }
}

}  // namespace
