#include <windows.h>

#include <gtest/gtest.h>

#include "KuvAuth/ServiceClient/SignedRequest.h"
#include "Support/ImportHook.h"
#include "Support/LogCapture.h"

namespace {

using Kuv::Util::BuildParameterString;

TEST(BuildParameterString, OfNoParametersIsEmpty) {
  EXPECT_EQ(BuildParameterString({}, {}), "");
  EXPECT_EQ(BuildParameterString({}, {"name"}), "");
}

TEST(BuildParameterString, OfOnePairHasNoAmpersand) {
  EXPECT_EQ(BuildParameterString({{"user", L"bob"}}, {}), "user=bob");
}

TEST(BuildParameterString, JoinsPairsByAmpersand) {
  EXPECT_EQ(BuildParameterString({{"a", L"1"}, {"b", L"2"}, {"c", L"3"}}, {}), "a=1&b=2&c=3");
}

TEST(BuildParameterString, SortsNamesByTheirBytes) {
  EXPECT_EQ(BuildParameterString({{"a", L"1"}, {"B", L"2"}, {"_", L"3"}}, {}), "B=2&_=3&a=1");
  EXPECT_EQ(BuildParameterString({{"\xC3\xA4", L"1"}, {"z", L"2"}}, {}), "z=2&%C3%A4=1");
}

// "~" (0x7E) stays and "{" (0x7B) becomes "%7B", which would sort before it and before letters.
TEST(BuildParameterString, SortsByTheNamesAsTheyAreBeforeTheyAreEncoded) {
  EXPECT_EQ(BuildParameterString({{"z", L"1"}, {"{", L"2"}, {"~", L"3"}}, {}), "z=1&%7B=2&~=3");
}

TEST(BuildParameterString, EncodesValuesAsUtf8) {
  EXPECT_EQ(BuildParameterString({{"v", L"a \x00E4\x20AC"}}, {}), "v=a%20%C3%A4%E2%82%AC");
  EXPECT_EQ(BuildParameterString({{"v", L"\xD83D\xDE00"}}, {}), "v=%F0%9F%98%80");
}

TEST(BuildParameterString, EncodesNames) {
  EXPECT_EQ(BuildParameterString({{"a b&c=d", L"x"}}, {}), "a%20b%26c%3Dd=x");
}

TEST(BuildParameterString, PairWithAnEmptyValueEndsInTheEqualSign) {
  EXPECT_EQ(BuildParameterString({{"a", L""}}, {}), "a=");
  EXPECT_EQ(BuildParameterString({{"", L""}, {"a", L""}}, {}), "=&a=");
}

TEST(BuildParameterString, ValueEndsAtItsFirstNul) {
  EXPECT_EQ(BuildParameterString({{"a", std::wstring(L"x\0y", 3)}}, {}), "a=x");
}

TEST(BuildParameterString, MaskedNameGetsTheMaskUnencoded) {
  EXPECT_EQ(BuildParameterString({{"passcode", L"123456"}, {"user", L"bob"}}, {"passcode"}),
            "passcode=#####&user=bob");
}

TEST(BuildParameterString, MaskIsLookedUpByTheEncodedNameWithItsCase) {
  EXPECT_EQ(BuildParameterString({{"a b", L"x"}}, {"a b"}), "a%20b=x");
  EXPECT_EQ(BuildParameterString({{"a b", L"x"}}, {"a%20b"}), "a%20b=#####");
  EXPECT_EQ(BuildParameterString({{"user", L"x"}}, {"User"}), "user=x");
}

TEST(BuildParameterString, ValueThatDoesNotConvertIsEmptyAndNotLogged) {
  const KuvTest::LogCapture log;
  KUV_IMPORT_HOOK(convert, WideCharToMultiByte);
  // Telling the length works, converting does not.
  convert.Script({[](auto&&...) { return 6; }, [](auto&&...) { return 0; }});
  const std::string text = BuildParameterString({{"a", L"value"}}, {});
  EXPECT_EQ(text, "a=");
  EXPECT_EQ(log.RawLines().size(), 0u);
}

TEST(BuildParameterString, ValueWhoseLengthCannotBeToldIsEmptyAndNotLogged) {
  const KuvTest::LogCapture log;
  KUV_IMPORT_HOOK(convert, WideCharToMultiByte);
  convert.Script({[](auto&&...) { return 0; }});
  const std::string text = BuildParameterString({{"a", L"value"}}, {});
  EXPECT_EQ(text, "a=");
  EXPECT_EQ(log.RawLines().size(), 0u);
}

}  // namespace
