#include "KuvAuth/Support/Text.h"

#include <cctype>
#include <cwctype>
#include <string>

#include <gtest/gtest.h>

namespace {

using namespace std::string_literals;

TEST(ToLowerAscii, ReturnsALowerCaseCopy) {
  const std::string text = "Api-01.EXAMPLE.Com:8443";
  EXPECT_EQ(ToLowerAscii(text), "api-01.example.com:8443");
  EXPECT_EQ(text, "Api-01.EXAMPLE.Com:8443");
  const std::wstring wide = L"Api-01.EXAMPLE.Com";
  EXPECT_EQ(ToLowerAscii(wide), L"api-01.example.com");
  EXPECT_EQ(wide, L"Api-01.EXAMPLE.Com");
}

TEST(ToLowerAscii, AcceptsAPointerAndReturnsAnEmptyStringForNull) {
  EXPECT_EQ(ToLowerAscii("ABC"), "abc");
  EXPECT_EQ(ToLowerAscii(L"ABC"), L"abc");
  EXPECT_EQ(ToLowerAscii(static_cast<const char*>(nullptr)), "");
  EXPECT_EQ(ToLowerAscii(static_cast<const wchar_t*>(nullptr)), L"");
}

TEST(ToLowerAscii, ContinuesAfterANulAndKeepsTheBytesOfUtf8) {
  EXPECT_EQ(ToLowerAscii("A\0B"s), "a\0b"s);
  EXPECT_EQ(ToLowerAscii(L"A\0B"s), L"a\0b"s);
  EXPECT_EQ(ToLowerAscii("\xC3\x84\xC3\x96"), "\xC3\x84\xC3\x96");
}

TEST(ToLowerAscii, MatchesTheCharacterTablesForEveryUnit) {
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

TEST(RemoveWhitespace, DeletesWhitespaceAnywhereAndKeepsNulsAndTheBytesOfUtf8) {
  const std::pair<std::string, std::string> rows[] = {
      {" \t a\n b\v\f \r c ", "abc"}, {" \r\n", ""}, {"", ""}, {"\xE2\x82\xAC \0 x"s, "\xE2\x82\xAC\0x"s}};
  for (const auto& [stored, expected] : rows) {
    std::string text = stored;
    RemoveWhitespace(text);
    EXPECT_EQ(text, expected);
  }
  std::wstring wide = L" \t a\n b\v\f \r c ";
  RemoveWhitespace(wide);
  EXPECT_EQ(wide, L"abc");
}

TEST(RemoveWhitespace, MatchesTheCharacterTablesForEveryUnit) {
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
