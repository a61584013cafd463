#include <windows.h>

#include <gtest/gtest.h>

#include "KuvAuth/ServiceClient/SignedRequest.h"
#include "Support/ImportHook.h"
#include "Support/LogCapture.h"

namespace {

using Kuv::Util::BuildParameterString;

TEST(BuildParameterString, SortsEncodesMasksAndJoins) {
  const struct {
    const char* name;
    Kuv::Util::ParameterList parameters;
    Kuv::Util::MaskedNameSet masked;
    const char* expected;
  } rows[] = {
      {"no parameters", {}, {}, ""},
      {"no parameters but a masked name", {}, {"name"}, ""},
      {"one pair", {{"user", L"bob"}}, {}, "user=bob"},
      {"three pairs", {{"a", L"1"}, {"b", L"2"}, {"c", L"3"}}, {}, "a=1&b=2&c=3"},
      {"names in byte order", {{"a", L"1"}, {"B", L"2"}, {"_", L"3"}}, {}, "B=2&_=3&a=1"},
      {"bytes above ASCII last", {{"\xC3\xA4", L"1"}, {"z", L"2"}}, {}, "z=2&%C3%A4=1"},
      // "~" (0x7E) stays and "{" (0x7B) becomes "%7B", which would sort before it and before letters.
      {"sorted before encoding", {{"z", L"1"}, {"{", L"2"}, {"~", L"3"}}, {}, "z=1&%7B=2&~=3"},
      {"value in UTF-8", {{"v", L"a \x00E4\x20AC"}}, {}, "v=a%20%C3%A4%E2%82%AC"},
      {"surrogate pair", {{"v", L"\xD83D\xDE00"}}, {}, "v=%F0%9F%98%80"},
      {"encoded name", {{"a b&c=d", L"x"}}, {}, "a%20b%26c%3Dd=x"},
      {"empty value", {{"a", L""}}, {}, "a="},
      {"empty name and value", {{"", L""}, {"a", L""}}, {}, "=&a="},
      {"value ends at its first NUL", {{"a", std::wstring(L"x\0y", 3)}}, {}, "a=x"},
      {"mask is not encoded",
       {{"passcode", L"123456"}, {"user", L"bob"}},
       {"passcode"},
       "passcode=#####&user=bob"},
      {"mask by the plain name", {{"a b", L"x"}}, {"a b"}, "a%20b=x"},
      {"mask by the encoded name", {{"a b", L"x"}}, {"a%20b"}, "a%20b=#####"},
      {"mask with another case", {{"user", L"x"}}, {"User"}, "user=x"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(BuildParameterString(row.parameters, row.masked), row.expected);
  }
}

TEST(BuildParameterString, ValueThatDoesNotConvertIsEmptyAndNotLogged) {
  const KuvTest::LogCapture log;
  {
    // The size is returned, the conversion fails.
    KUV_IMPORT_HOOK(convert, WideCharToMultiByte);
    convert.Script({[](auto&&...) { return 6; }, [](auto&&...) { return 0; }});
    EXPECT_EQ(BuildParameterString({{"a", L"value"}}, {}), "a=");
  }
  KUV_IMPORT_HOOK(convert, WideCharToMultiByte);
  convert.Script({[](auto&&...) { return 0; }});
  EXPECT_EQ(BuildParameterString({{"a", L"value"}}, {}), "a=");
  EXPECT_EQ(log.RawLines().size(), 0u);
}

}  // namespace
