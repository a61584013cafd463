// The calls of the C runtime: the one of Wine accepts arguments that are undefined behavior elsewhere.
#include <string>

#include <gtest/gtest.h>

#include "KuvAuth/Support/Text.h"
#include "Support/ImportHook.h"

namespace {

using CharacterFunction = int (*)(int);

constexpr char kUnits[] = "A \x80\xC3\x84\xFF";
const std::vector<std::tuple<int>> kArguments{{'A'}, {' '}, {0x80}, {0xC3}, {0x84}, {0xFF}};

TEST(TextRuntime, IsPassedUnsignedCharacters) {
  KuvTest::ImportHook<CharacterFunction> lower{"tolower"};
  KuvTest::ImportHook<CharacterFunction> space{"isspace"};
  std::string text = kUnits;
  ToLowerInPlace(text);
  EXPECT_EQ(lower.Calls(), kArguments);
  EXPECT_EQ(text, "a \x80\xC3\x84\xFF");
  text = kUnits;
  RemoveWhitespace(text);
  EXPECT_EQ(space.Calls(), kArguments);
  EXPECT_EQ(text, "A\x80\xC3\x84\xFF");
}

TEST(TextRuntime, IsNotCalledForANullFormat) {
  KuvTest::ImportHook<int (*)(const char*, char*)> narrow{"_vscprintf"};
  KuvTest::ImportHook<int (*)(const wchar_t*, char*)> wide{"_vscwprintf"};
  EXPECT_EQ(FormatToString(static_cast<const char*>(nullptr)), "");
  EXPECT_EQ(FormatToString(static_cast<const wchar_t*>(nullptr)), L"");
  EXPECT_EQ(narrow.CallCount() + wide.CallCount(), 0u);
  // The hooks are in the right place.
  EXPECT_EQ(FormatToString("%d", 1), "1");
  EXPECT_EQ(FormatToString(L"%d", 1), L"1");
  EXPECT_EQ(narrow.CallCount() + wide.CallCount(), 2u);
}

}  // namespace
