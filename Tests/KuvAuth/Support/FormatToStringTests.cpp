#include <cstdint>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "KuvAuth/Support/Text.h"
#include "Support/ImportHook.h"

namespace {

TEST(FormatToString, FormatsAsPrintfDoes) {
  EXPECT_EQ(FormatToString("%s=%d 0x%08X %c%%", "value", -7, 0xBEEFu, 'z'), "value=-7 0x0000BEEF z%");
  EXPECT_EQ(FormatToString(L"%s=%d 0x%08X %c%%", L"value", -7, 0xBEEFu, L'z'), L"value=-7 0x0000BEEF z%");
}

TEST(FormatToString, FormatsTextOfItsOwnWidthForSmallSAndNarrowTextForLargeS) {
  EXPECT_EQ(FormatToString("<%s>", "narrow"), "<narrow>");
  EXPECT_EQ(FormatToString(L"<%s>", L"wide"), L"<wide>");
  EXPECT_EQ(FormatToString(L"<%S>", "narrow"), L"<narrow>");
}

TEST(FormatToString, FormatsNumbersOf64Bits) {
  EXPECT_EQ(FormatToString("%llu", 18446744073709551615ull), "18446744073709551615");
  EXPECT_EQ(FormatToString(L"%llu", 18446744073709551615ull), L"18446744073709551615");
}

TEST(FormatToString, AcceptsAFormatWithoutArgumentsOrResultOrNull) {
  EXPECT_EQ(FormatToString("plain"), "plain");
  EXPECT_EQ(FormatToString(L"plain"), L"plain");
  EXPECT_EQ(FormatToString("%s", ""), "");
  EXPECT_EQ(FormatToString(L"%s", L""), L"");
  EXPECT_EQ(FormatToString(static_cast<const char*>(nullptr)), "");
  EXPECT_EQ(FormatToString(static_cast<const wchar_t*>(nullptr)), L"");
}

TEST(FormatToString, IsEmptyIfTheFormatIsMalformed) {
  // Not literals, because the compiler checks those.
  const std::string narrow = "before %";
  const std::wstring wide = L"before %";
  EXPECT_EQ(FormatToString(narrow.c_str()), "");
  EXPECT_EQ(FormatToString(wide.c_str()), L"");
}

// The runtime of Visual C++ is linked statically, so its formatter has no import.
#if !defined(_MSC_VER) && defined(_WIN64)
TEST(FormatToString, IsEmptyIfTheFormatterFails) {
  using Count = KuvTest::ImportHook<int (*)(const char*, char*)>;
  using WideCount = KuvTest::ImportHook<int (*)(const wchar_t*, char*)>;
  using Format = KuvTest::ImportHook<int (*)(char*, std::size_t, std::size_t, const char*, char*)>;
  using WideFormat = KuvTest::ImportHook<int (*)(wchar_t*, std::size_t, std::size_t, const wchar_t*, char*)>;
  const auto expectEmptyIfTheyFail = [](auto&&... hooks) {
    (hooks.Answer([](auto&&...) { return -1; }), ...);
    EXPECT_EQ(FormatToString("%d", 5), "");
    EXPECT_EQ(FormatToString(L"%d", 5), L"");
  };
  expectEmptyIfTheyFail(Count{"_vscprintf"}, WideCount{"_vscwprintf"});
  expectEmptyIfTheyFail(Format{"_vsnprintf_s"}, WideFormat{"_vsnwprintf_s"});
}
#endif

#if defined(_MSC_VER)
void __cdecl FailForAnInvalidParameter(const wchar_t*, const wchar_t*, const wchar_t*, unsigned,
                                       std::uintptr_t) {
  ADD_FAILURE() << "the handler of the program was called";
}

TEST(FormatToString, KeepsTheInvalidParameterHandlerOfTheThreadAndDoesNotCallIt) {
  const auto before = ::_set_thread_local_invalid_parameter_handler(&FailForAnInvalidParameter);
  EXPECT_EQ(FormatToString(std::string{"before %"}.c_str()), "");
  EXPECT_EQ(::_set_thread_local_invalid_parameter_handler(before), &FailForAnInvalidParameter);
}
#endif

TEST(FormatToString, HasNoFixedLimit) {
  for (const std::size_t length : {1u, 15u, 16u, 255u, 256u, 1023u, 1024u, 2047u, 2048u, 4096u, 100'000u}) {
    SCOPED_TRACE(length);
    const std::string narrow(length, 'n');
    const std::wstring wide(length, L'w');
    EXPECT_EQ(FormatToString("[%s]", narrow.c_str()), "[" + narrow + "]");
    EXPECT_EQ(FormatToString(L"[%s]", wide.c_str()), L"[" + wide + L"]");
  }
}

}  // namespace
