#include <cstring>

#include <gtest/gtest.h>

#include "KuvAuth/Configuration/KuvAuthConfig.h"
#include "Support/ImportHook.h"
#include "Support/KuvFixture.h"

namespace {

using KuvTest::LogLines;

// None of these queries ever logs.
class DirectQuery : public KuvTest::KuvFixture {
 protected:
  ~DirectQuery() override { EXPECT_EQ(log.Lines(), LogLines{}); }

  const KuvTest::TestKey local = registry.Local();
  const KuvTest::TestKey policy = registry.Policy();
};

using DwordSetting = DirectQuery;
using StringSetting = DirectQuery;
using BoolSetting = DirectQuery;
using RdpOnly = DirectQuery;
using ElevationMode = DirectQuery;

TEST_F(DwordSetting, ReturnsTheDefaultWithoutTheValue) {
  for (const std::uint32_t number : {0u, 42u, 0xFFFFFFFFu})
    EXPECT_EQ(GetDwordSetting("Number", number), number);
  local.SetDword(L"Other", 1);
  policy.SetDword(L"Other", 2);
  EXPECT_EQ(GetDwordSetting("Number", 42), 42u);
  local.SetText(L"Number", L"1");
  policy.SetBytes(L"Number", REG_DWORD, "\1", 1);
  EXPECT_EQ(GetDwordSetting("Number", 42), 42u);
}

TEST_F(DwordSetting, ReturnsTheNumberOfEitherKey) {
  for (const std::uint32_t number : {0u, 1u, 0x80000000u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(number);
    local.SetDword(L"Local", number);
    policy.SetDword(L"Policy", number);
    EXPECT_EQ(GetDwordSetting("Local", 42), number);
    EXPECT_EQ(GetDwordSetting("Policy", 42), number);
  }
}

TEST_F(DwordSetting, PolicyWinsEvenIfItsNumberIsTheDefault) {
  local.SetDword(L"Number", 1);
  policy.SetDword(L"Number", 7);
  EXPECT_EQ(GetDwordSetting("Number", 42), 7u);
  policy.SetDword(L"Number", 42);
  EXPECT_EQ(GetDwordSetting("Number", 42), 42u);
}

TEST_F(DwordSetting, PolicyValueOfAnotherTypeOrSizeIsIgnored) {
  constexpr BYTE data[8] = {9};
  const std::pair<DWORD, std::size_t> rows[] = {
      {REG_NONE, 4},  {REG_SZ, 4},    {REG_BINARY, 4}, {REG_DWORD_BIG_ENDIAN, 4},
      {REG_QWORD, 4}, {REG_DWORD, 0}, {REG_DWORD, 1},  {REG_DWORD, 2},
      {REG_DWORD, 3}, {REG_DWORD, 5}, {REG_DWORD, 8}};
  local.SetDword(L"Number", 1);
  for (const auto& [type, size] : rows) {
    SCOPED_TRACE(::testing::Message() << "type " << type << ", " << size << " bytes");
    policy.SetBytes(L"Number", type, data, size);
    EXPECT_EQ(GetDwordSetting("Number", 42), 1u);
  }
}

TEST_F(DirectQuery, FailedQueryReturnsTheDefaultWhateverIsInTheBuffer) {
  local.SetDword(L"Number", 1);
  policy.SetDword(L"Number", 2);
  local.SetText(L"Text", L"text");
  KUV_IMPORT_HOOK(query, RegQueryValueExA);
  query.Answer([&](HKEY key, const char* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
    query.Original(key, name, reserved, type, data, size);
    return ERROR_ACCESS_DENIED;
  });
  EXPECT_EQ(GetDwordSetting("Number", 42), 42u);
  EXPECT_EQ(query.CallCount(), 2u);
  EXPECT_EQ(GetStringSetting("Text", "default"), "default");
}

TEST_F(DwordSetting, ReadsTheRegistryAtEachCall) {
  local.SetDword(L"Number", 1);
  ASSERT_EQ(GetDwordSetting("Number", 42), 1u);
  local.SetDword(L"Number", 2);
  EXPECT_EQ(GetDwordSetting("Number", 42), 2u);
  local.DeleteValue(L"Number");
  EXPECT_EQ(GetDwordSetting("Number", 42), 42u);
}

// Records the platform calls.
class DirectQueryCalls : public DirectQuery {
 protected:
  DirectQueryCalls() {
    open.Answer([this](HKEY root, const char* path, DWORD options, REGSAM access, HKEY* result) {
      EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
      EXPECT_EQ(options, 0u);
      EXPECT_EQ(access, 0x0001u);
      const LSTATUS status = open.Original(root, path, options, access, result);
      calls.push_back(std::string{"open "} + path + (status == ERROR_SUCCESS ? "" : " failed"));
      if (status == ERROR_SUCCESS) opened = *result;
      return status;
    });
    query.Answer([this](HKEY key, const char* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
      EXPECT_EQ(key, opened);
      EXPECT_EQ(reserved, nullptr);
      calls.push_back(std::string{"query "} + name + " type " + std::to_string(*type) + " size " +
                      std::to_string(*size));
      return query.Original(key, name, reserved, type, data, size);
    });
    close.Answer([this](HKEY key) {
      calls.emplace_back(key == opened ? "close" : "close another");
      return close.Original(key);
    });
  }

  HKEY opened = nullptr;
  std::vector<std::string> calls;
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  KUV_IMPORT_HOOK(query, RegQueryValueExA);
  KUV_IMPORT_HOOK(close, RegCloseKey);
};

using Calls = std::vector<std::string>;

const std::string kOpenPolicy = "open Software\\Policies\\Kuvant\\KuvCredProv";
const std::string kOpenLocal = "open Software\\Kuvant\\KuvCredProv";
const std::string kQueryNumber = "query Number type 4 size 4";
const std::string kQueryText = "query Text type 1 size 1024";

// Writing a value closes its key too, so the recorded calls are cleared after it.
TEST_F(DirectQueryCalls, StopWithThePolicyKeyIfItHasTheValue) {
  policy.SetDword(L"Number", 0);
  policy.SetText(L"Text", L"");
  local.SetDword(L"Number", 1);
  local.SetText(L"Text", L"text");
  calls.clear();
  EXPECT_EQ(GetDwordSetting("Number", 0), 0u);
  std::string text;
  EXPECT_TRUE(TryGetStringSetting("Text", text));
  EXPECT_EQ(calls, (Calls{kOpenPolicy, kQueryNumber, "close", kOpenPolicy, kQueryText, "close"}));
}

TEST_F(DirectQueryCalls, ContinueWithTheLocalKey) {
  policy.Create();
  local.Create();
  calls.clear();
  EXPECT_EQ(GetDwordSetting("Number", 0), 0u);
  EXPECT_EQ(calls, (Calls{kOpenPolicy, kQueryNumber, "close", kOpenLocal, kQueryNumber, "close"}));
  calls.clear();
  std::string text;
  EXPECT_FALSE(TryGetStringSetting("Text", text));
  EXPECT_EQ(calls, (Calls{kOpenPolicy, kQueryText, "close", kOpenLocal, kQueryText, "close"}));
}

TEST_F(DirectQueryCalls, SkipAKeyThatCannotBeOpened) {
  local.SetDword(L"Number", 1);
  calls.clear();
  EXPECT_EQ(GetDwordSetting("Number", 0), 1u);
  EXPECT_EQ(calls, (Calls{kOpenPolicy + " failed", kOpenLocal, kQueryNumber, "close"}));
  local.Delete();
  calls.clear();
  EXPECT_EQ(GetDwordSetting("Number", 5), 5u);
  EXPECT_EQ(calls, (Calls{kOpenPolicy + " failed", kOpenLocal + " failed"}));
}

TEST_F(StringSetting, IsReturnedUnchanged) {
  local.SetText(L"Text", L" Mixed Case\tand blanks ");
  std::string text;
  EXPECT_TRUE(TryGetStringSetting("Text", text));
  EXPECT_EQ(text, " Mixed Case\tand blanks ");
}

TEST_F(StringSetting, MissingTextDoesNotChangeTheOutput) {
  std::string text = "before";
  EXPECT_FALSE(TryGetStringSetting("Text", text));
  local.SetDword(L"Text", 1);
  policy.SetBytes(L"Text", REG_SZ, L"", 0);
  EXPECT_FALSE(TryGetStringSetting("Text", text));
  EXPECT_EQ(text, "before");
}

TEST_F(StringSetting, IsInTheAnsiCodePage) {
  const wchar_t text[] = L"Zo\u00EB";
  char expected[16] = {};
  ASSERT_GT(::WideCharToMultiByte(CP_ACP, 0, text, -1, expected, sizeof(expected), nullptr, nullptr), 0);
  local.SetText(L"Text", text);
  EXPECT_EQ(GetStringSetting("Text", ""), expected);
  EXPECT_EQ(GetStringSetting("Text", "") == "Zo\xC3\xAB", ::GetACP() == CP_UTF8);
}

TEST_F(StringSetting, PolicyTextWinsEvenIfItIsEmpty) {
  local.SetText(L"Text", L"local");
  policy.SetText(L"Text", L"policy");
  EXPECT_EQ(GetStringSetting("Text", "default"), "policy");
  policy.SetText(L"Text", L"");
  EXPECT_EQ(GetStringSetting("Text", "default"), "");
}

TEST_F(StringSetting, PolicyValueOfNoBytesOrAnotherTypeIsIgnored) {
  local.SetText(L"Text", L"local");
  policy.SetBytes(L"Text", REG_SZ, L"", 0);
  EXPECT_EQ(GetStringSetting("Text", "default"), "local");
  for (const DWORD type : {REG_NONE, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_MULTI_SZ}) {
    SCOPED_TRACE(type);
    policy.SetBytes(L"Text", type, L"a", 4);
    EXPECT_EQ(GetStringSetting("Text", "default"), "local");
  }
}

TEST_F(StringSetting, MayHave1023CharactersAndANul) {
  local.SetText(L"Text", std::wstring(1023, L'a'));
  EXPECT_EQ(GetStringSetting("Text", "default"), std::string(1023, 'a'));
}

TEST_F(StringSetting, TextThatIsTooLongIsIgnored) {
  local.SetText(L"Text", L"local");
  for (const std::size_t length : {1024u, 1025u, 5000u}) {
    SCOPED_TRACE(length);
    policy.SetText(L"Text", std::wstring(length, L'a'));
    EXPECT_EQ(GetStringSetting("Text", "default"), "local");
  }
  local.SetText(L"Text", std::wstring(1024, L'a'));
  EXPECT_EQ(GetStringSetting("Text", "default"), "default");
}

TEST_F(StringSetting, EndsAtItsFirstNul) {
  local.SetBytes(L"Text", REG_SZ, L"abc\0def", 16);
  EXPECT_EQ(GetStringSetting("Text", "default"), "abc");
}

TEST_F(StringSetting, FullBufferWithoutTerminatorIsReturnedWhole) {
  local.Create();
  KUV_IMPORT_HOOK(query, RegQueryValueExA);
  query.Answer([](HKEY, const char*, DWORD*, DWORD* type, BYTE* data, DWORD* size) {
    std::memset(data, 'a', *size);
    *type = REG_SZ;
    return ERROR_SUCCESS;
  });
  EXPECT_EQ(GetStringSetting("Text", "default"), std::string(1024, 'a'));
}

TEST_F(StringSetting, BufferIsZeroBeforeTheQuery) {
  local.Create();
  KUV_IMPORT_HOOK(query, RegQueryValueExA);
  query.Answer([](HKEY, const char*, DWORD*, DWORD* type, BYTE* data, DWORD* size) {
    *data = 'a';
    *type = REG_SZ;
    *size = 1;
    return ERROR_SUCCESS;
  });
  EXPECT_EQ(GetStringSetting("Text", "default"), "a");
}

TEST_F(StringSetting, ReturnsTheDefaultWithoutAnyKey) {
  EXPECT_EQ(GetStringSetting("Text", ""), "");
  EXPECT_EQ(GetStringSetting("Text", " The Default "), " The Default ");
}

TEST_F(BoolSetting, IsTrueForExactlyOne) {
  for (const bool defaultValue : {false, true}) {
    SCOPED_TRACE(defaultValue);
    local.SetDword(L"Flag", 1);
    EXPECT_TRUE(GetBoolSetting("Flag", defaultValue));
    for (const std::uint32_t number : {0u, 2u, 0x101u, 0xFFFFFFFFu}) {
      local.SetDword(L"Flag", number);
      EXPECT_FALSE(GetBoolSetting("Flag", defaultValue)) << number;
    }
  }
}

TEST_F(BoolSetting, ReturnsTheDefaultWithoutANumber) {
  EXPECT_TRUE(GetBoolSetting("Flag", true));
  EXPECT_FALSE(GetBoolSetting("Flag", false));
  local.SetText(L"Flag", L"1");
  EXPECT_TRUE(GetBoolSetting("Flag", true));
  EXPECT_FALSE(GetBoolSetting("Flag", false));
}

TEST_F(RdpOnly, IsOnForExactlyOneAndOffByDefault) {
  EXPECT_FALSE(IsRdpOnly());
  for (const std::uint32_t number : {0u, 1u, 2u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(number);
    local.SetDword(L"RdpOnly", number);
    EXPECT_EQ(IsRdpOnly(), number == 1);
  }
}

TEST_F(RdpOnly, PolicyNumberHidesTheLocalOneButPolicyTextDoesNot) {
  local.SetDword(L"RdpOnly", 1);
  policy.SetDword(L"RdpOnly", 0);
  EXPECT_FALSE(IsRdpOnly());
  policy.SetText(L"RdpOnly", L"0");
  EXPECT_TRUE(IsRdpOnly());
}

TEST_F(ElevationMode, IsLogonOnlyByDefaultAndAboveTwo) {
  EXPECT_EQ(GetElevationProtectionMode(), ElevationProtectionMode::LogonOnly);
  const std::pair<std::uint32_t, ElevationProtectionMode> rows[] = {
      {0, ElevationProtectionMode::LogonOnly},          {1, ElevationProtectionMode::ElevationOnly},
      {2, ElevationProtectionMode::LogonAndElevation},  {3, ElevationProtectionMode::LogonOnly},
      {0x80000001, ElevationProtectionMode::LogonOnly}, {0xFFFFFFFF, ElevationProtectionMode::LogonOnly}};
  for (const auto& [number, mode] : rows) {
    SCOPED_TRACE(number);
    local.SetDword(L"ElevationProtectionMode", number);
    EXPECT_EQ(GetElevationProtectionMode(), mode);
  }
}

TEST_F(ElevationMode, PolicyNumberOutOfRangeHidesTheLocalOne) {
  policy.SetDword(L"ElevationProtectionMode", 3);
  local.SetDword(L"ElevationProtectionMode", 1);
  EXPECT_EQ(GetElevationProtectionMode(), ElevationProtectionMode::LogonOnly);
}

TEST_F(ElevationMode, IsReadFromTheRegistryAndNotFromTheRecord) {
  GetConfiguration()->ElevationProtectionMode = ElevationProtectionMode::LogonAndElevation;
  EXPECT_EQ(GetElevationProtectionMode(), ElevationProtectionMode::LogonOnly);
  local.SetDword(L"ElevationProtectionMode", 1);
  EXPECT_EQ(GetElevationProtectionMode(), ElevationProtectionMode::ElevationOnly);
  EXPECT_EQ(GetConfiguration()->ElevationProtectionMode, ElevationProtectionMode::LogonAndElevation);
}

}  // namespace
