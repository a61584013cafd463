#include "KuvAuth/Support/SystemError.h"

#include <cwchar>
#include <string>

#include <gtest/gtest.h>

#include "Support/ImportHook.h"

namespace {

// Spells out the type of `va_list`: its name has attributes that a template argument cannot have.
struct FormatHook
    : KuvTest::ImportHook<DWORD(WINAPI*)(DWORD, const void*, DWORD, DWORD, wchar_t*, DWORD, char**)> {
  FormatHook() : ImportHook("FormatMessageW") {}
};

// Returns a text as the platform does: in a new block whose address is stored in the buffer.
DWORD ReturnText(wchar_t* buffer, const wchar_t* text) {
  const std::size_t units = std::wcslen(text) + 1;
  void* const block = ::LocalAlloc(LMEM_FIXED, units * sizeof(wchar_t));
  std::wmemcpy(static_cast<wchar_t*>(block), text, units);
  *reinterpret_cast<void**>(buffer) = block;
  return static_cast<DWORD>(units - 1);
}

std::wstring FormatAs(const wchar_t* text) {
  FormatHook format;
  format.Script({[=](DWORD, const void*, DWORD, DWORD, wchar_t* buffer, DWORD, char**) {
    return ReturnText(buffer, text);
  }});
  return FormatSystemError(5);
}

TEST(FormatSystemError, ReturnsTheSystemTextWithoutItsLineEnd) {
  wchar_t expected[512] = {};
  const DWORD length = ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                        ERROR_ACCESS_DENIED, MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                                        expected, 512, nullptr);
  ASSERT_GT(length, 2u);
  ASSERT_STREQ(expected + length - 2, L"\r\n");
  expected[length - 2] = L'\0';
  EXPECT_EQ(FormatSystemError(ERROR_ACCESS_DENIED), expected);
}

TEST(FormatSystemError, ReturnsAnEmptyStringForAnUnknownCode) {
  EXPECT_EQ(FormatSystemError(0x20001234), L"");
}

TEST(FormatSystemError, RequestsTheSystemTextInTheDefaultLanguage) {
  std::wstring text;
  FormatHook format;
  format.Answer([](DWORD, const void*, DWORD, DWORD, wchar_t* buffer, DWORD, char**) {
    return ReturnText(buffer, L"x");
  });
  text = FormatSystemError(0xC0FFEE);
  EXPECT_EQ(text, L"x");
  ASSERT_EQ(format.CallCount(), 1u);
  const auto& [flags, source, code, language, buffer, size, arguments] = format.Calls()[0];
  EXPECT_EQ(flags, 0x1300u);
  EXPECT_EQ(source, nullptr);
  EXPECT_EQ(code, 0xC0FFEEu);
  EXPECT_EQ(language, 0x400u);
  EXPECT_NE(buffer, nullptr);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(arguments, nullptr);
}

TEST(FormatSystemError, TrimsOnlyTheEnd) {
  const struct {
    const wchar_t* text;
    const wchar_t* expected;
  } rows[] = {
      {L"text", L"text"},
      {L"text\r\n", L"text"},
      {L"text \n\r\t \t\r\n", L"text"},
      {L" \t\r\n text \r\n", L" \t\r\n text"},
      {L"two\r\nlines\r\n", L"two\r\nlines"},
      {L" \n\r\t", L""},
      {L"", L""},
      {L"text\v", L"text\v"},
      {L"text\f\r\n", L"text\f"},
      {L"text\x00A0", L"text\x00A0"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.text));
    EXPECT_EQ(FormatAs(row.text), row.expected);
  }
}

TEST(FormatSystemError, FreesTheBlockOnce) {
  KUV_IMPORT_HOOK(release, LocalFree);
  void* given = nullptr;
  {
    FormatHook format;
    format.Script({[&](DWORD, const void*, DWORD, DWORD, wchar_t* buffer, DWORD, char**) {
      const DWORD length = ReturnText(buffer, L"text");
      given = *reinterpret_cast<void**>(buffer);
      return length;
    }});
    EXPECT_EQ(FormatSystemError(5), L"text");
  }
  EXPECT_EQ(release.Calls(), (std::vector<std::tuple<HLOCAL>>{{given}}));
}

TEST(FormatSystemError, FreesNothingWithoutABlock) {
  KUV_IMPORT_HOOK(release, LocalFree);
  FormatHook format;
  format.Answer([](auto...) { return 0u; });
  EXPECT_EQ(FormatSystemError(5), L"");
  EXPECT_EQ(release.CallCount(), 0u);
}

}  // namespace
