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

TEST_F(DwordSetting, GivesTheDefaultWithoutAnyKey) {
  EXPECT_EQ(GetDwordSetting("Number", 0), 0u);
  EXPECT_EQ(GetDwordSetting("Number", 42), 42u);
  EXPECT_EQ(GetDwordSetting("Number", 0xFFFFFFFF), 0xFFFFFFFFu);
}

TEST_F(DwordSetting, GivesTheDefaultWithoutTheValue) {
  local.SetDword(L"Other", 1);
  policy.SetDword(L"Other", 2);
  EXPECT_EQ(GetDwordSetting("Number", 42), 42u);
}

TEST_F(DwordSetting, GivesTheNumberOfEitherKey) {
  for (const std::uint32_t number : {0u, 1u, 0x80000000u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(number);
    local.SetDword(L"Local", number);
    policy.SetDword(L"Policy", number);
    EXPECT_EQ(GetDwordSetting("Local", 42), number);
    EXPECT_EQ(GetDwordSetting("Policy", 42), number);
  }
}

TEST_F(DwordSetting, PolicyWinsAlsoWithTheNumberThatIsTheDefault) {
  local.SetDword(L"Number", 1);
  policy.SetDword(L"Number", 7);
  EXPECT_EQ(GetDwordSetting("Number", 42), 7u);
  policy.SetDword(L"Number", 42);
  EXPECT_EQ(GetDwordSetting("Number", 42), 42u);
}

TEST_F(DwordSetting, AnotherTypeFallsThrough) {
  constexpr BYTE data[4] = {9};
  local.SetDword(L"Number", 1);
  for (const DWORD type : {REG_NONE, REG_SZ, REG_BINARY, REG_DWORD_BIG_ENDIAN, REG_QWORD}) {
    SCOPED_TRACE(type);
    policy.SetBytes(L"Number", type, data, sizeof(data));
    EXPECT_EQ(GetDwordSetting("Number", 42), 1u);
  }
}

TEST_F(DwordSetting, AnotherSizeFallsThrough) {
  constexpr BYTE data[8] = {9};
  local.SetDword(L"Number", 1);
  for (const std::size_t size : {0u, 1u, 2u, 3u, 5u, 8u}) {
    SCOPED_TRACE(size);
    policy.SetBytes(L"Number", REG_DWORD, data, size);
    EXPECT_EQ(GetDwordSetting("Number", 42), 1u);
  }
}

TEST_F(DwordSetting, GivesTheDefaultIfNeitherValueIsANumber) {
  local.SetText(L"Number", L"1");
  policy.SetBytes(L"Number", REG_DWORD, "\1", 1);
  EXPECT_EQ(GetDwordSetting("Number", 42), 42u);
}

TEST_F(DwordSetting, QueryThatFailsCountsForNothing) {
  local.SetDword(L"Number", 1);
  policy.SetDword(L"Number", 2);
  KUV_IMPORT_HOOK(query, RegQueryValueExA);
  query.Answer([&](HKEY key, const char* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
    query.Original(key, name, reserved, type, data, size);
    return ERROR_ACCESS_DENIED;
  });
  EXPECT_EQ(GetDwordSetting("Number", 42), 42u);
  EXPECT_EQ(query.CallCount(), 2u);
}

TEST_F(DwordSetting, SeesAChangeAtTheNextCall) {
  local.SetDword(L"Number", 1);
  ASSERT_EQ(GetDwordSetting("Number", 42), 1u);
  local.SetDword(L"Number", 2);
  EXPECT_EQ(GetDwordSetting("Number", 42), 2u);
  local.DeleteValue(L"Number");
  EXPECT_EQ(GetDwordSetting("Number", 42), 42u);
}

// Follows the calls of the platform and the keys that stand open.
class DirectQueryCalls : public DirectQuery {
 protected:
  DirectQueryCalls() {
    open.Answer([this](HKEY root, const char* path, DWORD options, REGSAM access, HKEY* result) {
      EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
      EXPECT_EQ(options, 0u);
      EXPECT_EQ(access, 0x0001u);
      const LSTATUS status = open.Original(root, path, options, access, result);
      calls.push_back(std::string{"open "} + path + (status == ERROR_SUCCESS ? "" : " in vain"));
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

// Writing into a key closes it too, so what counts are the calls from here on.
TEST_F(DirectQueryCalls, SearchEndsWithThePolicyKeyIfItHasTheValue) {
  policy.SetDword(L"Number", 0);
  policy.SetText(L"Text", L"");
  local.SetDword(L"Number", 1);
  local.SetText(L"Text", L"text");
  calls.clear();
  EXPECT_EQ(GetDwordSetting("Number", 0), 0u);
  std::string text;
  EXPECT_TRUE(TryGetStringSetting("Text", text));
  EXPECT_EQ(calls,
            (Calls{"open Software\\Policies\\Kuvant\\KuvCredProv", "query Number type 4 size 4", "close",
                   "open Software\\Policies\\Kuvant\\KuvCredProv", "query Text type 1 size 1024", "close"}));
}

TEST_F(DirectQueryCalls, SearchGoesOnWithTheLocalKey) {
  policy.Create();
  local.Create();
  calls.clear();
  EXPECT_EQ(GetDwordSetting("Number", 0), 0u);
  EXPECT_EQ(calls,
            (Calls{"open Software\\Policies\\Kuvant\\KuvCredProv", "query Number type 4 size 4", "close",
                   "open Software\\Kuvant\\KuvCredProv", "query Number type 4 size 4", "close"}));
  calls.clear();
  std::string text;
  EXPECT_FALSE(TryGetStringSetting("Text", text));
  EXPECT_EQ(calls,
            (Calls{"open Software\\Policies\\Kuvant\\KuvCredProv", "query Text type 1 size 1024", "close",
                   "open Software\\Kuvant\\KuvCredProv", "query Text type 1 size 1024", "close"}));
}

TEST_F(DirectQueryCalls, KeyThatCannotBeOpenedIsPassedOver) {
  local.SetDword(L"Number", 1);
  calls.clear();
  EXPECT_EQ(GetDwordSetting("Number", 0), 1u);
  EXPECT_EQ(calls, (Calls{"open Software\\Policies\\Kuvant\\KuvCredProv in vain",
                          "open Software\\Kuvant\\KuvCredProv", "query Number type 4 size 4", "close"}));
  local.Delete();
  calls.clear();
  EXPECT_EQ(GetDwordSetting("Number", 5), 5u);
  EXPECT_EQ(calls, (Calls{"open Software\\Policies\\Kuvant\\KuvCredProv in vain",
                          "open Software\\Kuvant\\KuvCredProv in vain"}));
}

TEST_F(StringSetting, IsTakenAsItStands) {
  local.SetText(L"Text", L" Mixed Case\tand blanks ");
  std::string text;
  EXPECT_TRUE(TryGetStringSetting("Text", text));
  EXPECT_EQ(text, " Mixed Case\tand blanks ");
}

TEST_F(StringSetting, MissingTextLeavesTheOutputAlone) {
  std::string text = "before";
  EXPECT_FALSE(TryGetStringSetting("Text", text));
  local.SetDword(L"Text", 1);
  policy.SetBytes(L"Text", REG_SZ, L"", 0);
  EXPECT_FALSE(TryGetStringSetting("Text", text));
  EXPECT_EQ(text, "before");
}

TEST_F(StringSetting, PolicyWins) {
  local.SetText(L"Text", L"local");
  policy.SetText(L"Text", L"policy");
  EXPECT_EQ(GetStringSetting("Text", "default"), "policy");
}

TEST_F(StringSetting, EmptyPolicyTextHidesTheLocalOne) {
  local.SetText(L"Text", L"local");
  policy.SetText(L"Text", L"");
  EXPECT_EQ(GetStringSetting("Text", "default"), "");
}

TEST_F(StringSetting, TextOfNoBytesFallsThrough) {
  local.SetText(L"Text", L"local");
  policy.SetBytes(L"Text", REG_SZ, L"", 0);
  EXPECT_EQ(GetStringSetting("Text", "default"), "local");
}

TEST_F(StringSetting, AnotherTypeFallsThrough) {
  local.SetText(L"Text", L"local");
  for (const DWORD type : {REG_NONE, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_MULTI_SZ}) {
    SCOPED_TRACE(type);
    policy.SetBytes(L"Text", type, L"a", 4);
    EXPECT_EQ(GetStringSetting("Text", "default"), "local");
  }
}

TEST_F(StringSetting, MayFillItsBufferOfOneThousandAndTwentyFourBytes) {
  local.SetText(L"Text", std::wstring(1023, L'a'));
  EXPECT_EQ(GetStringSetting("Text", "default"), std::string(1023, 'a'));
}

TEST_F(StringSetting, TextThatIsTooLongFallsThrough) {
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

TEST_F(StringSetting, FullBufferWithoutTerminatorIsTakenAsFarAsItGoes) {
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

TEST_F(StringSetting, QueryThatFailsCountsForNothing) {
  local.SetText(L"Text", L"text");
  KUV_IMPORT_HOOK(query, RegQueryValueExA);
  query.Answer([&](HKEY key, const char* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
    query.Original(key, name, reserved, type, data, size);
    return ERROR_ACCESS_DENIED;
  });
  EXPECT_EQ(GetStringSetting("Text", "default"), "default");
}

TEST_F(StringSetting, GivesTheDefaultWithoutAnyKey) {
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

TEST_F(BoolSetting, GivesTheDefaultWithoutTheValue) {
  EXPECT_TRUE(GetBoolSetting("Flag", true));
  EXPECT_FALSE(GetBoolSetting("Flag", false));
  local.SetText(L"Flag", L"1");
  EXPECT_TRUE(GetBoolSetting("Flag", true));
  EXPECT_FALSE(GetBoolSetting("Flag", false));
}

TEST_F(RdpOnly, IsOffByDefault) {
  EXPECT_FALSE(IsRdpOnly());
}

TEST_F(RdpOnly, IsOnForExactlyOne) {
  local.SetDword(L"RdpOnly", 1);
  EXPECT_TRUE(IsRdpOnly());
  for (const std::uint32_t number : {0u, 2u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(number);
    local.SetDword(L"RdpOnly", number);
    EXPECT_FALSE(IsRdpOnly());
  }
}

TEST_F(RdpOnly, PolicyOffEndsTheSearch) {
  policy.SetDword(L"RdpOnly", 0);
  local.SetDword(L"RdpOnly", 1);
  EXPECT_FALSE(IsRdpOnly());
}

TEST_F(RdpOnly, PolicyTextFallsThrough) {
  policy.SetText(L"RdpOnly", L"0");
  local.SetDword(L"RdpOnly", 1);
  EXPECT_TRUE(IsRdpOnly());
}

TEST_F(ElevationMode, IsLogonOnlyByDefault) {
  EXPECT_EQ(GetElevationProtectionMode(), ElevationProtectionMode::LogonOnly);
}

TEST_F(ElevationMode, AboveTwoIsLogonOnly) {
  const ElevationProtectionMode modes[] = {ElevationProtectionMode::LogonOnly,
                                           ElevationProtectionMode::ElevationOnly,
                                           ElevationProtectionMode::LogonAndElevation};
  for (std::uint32_t number = 0; number < 3; ++number) {
    local.SetDword(L"ElevationProtectionMode", number);
    EXPECT_EQ(GetElevationProtectionMode(), modes[number]);
  }
  for (const std::uint32_t number : {3u, 0x80000001u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(number);
    local.SetDword(L"ElevationProtectionMode", number);
    EXPECT_EQ(GetElevationProtectionMode(), ElevationProtectionMode::LogonOnly);
  }
}

TEST_F(ElevationMode, PolicyOutOfRangeEndsTheSearch) {
  policy.SetDword(L"ElevationProtectionMode", 3);
  local.SetDword(L"ElevationProtectionMode", 1);
  EXPECT_EQ(GetElevationProtectionMode(), ElevationProtectionMode::LogonOnly);
}

TEST_F(ElevationMode, IsReadAtTheMomentAndNotFromTheRecord) {
  GetConfiguration()->ElevationProtectionMode = ElevationProtectionMode::LogonAndElevation;
  EXPECT_EQ(GetElevationProtectionMode(), ElevationProtectionMode::LogonOnly);
  local.SetDword(L"ElevationProtectionMode", 1);
  EXPECT_EQ(GetElevationProtectionMode(), ElevationProtectionMode::ElevationOnly);
  EXPECT_EQ(GetConfiguration()->ElevationProtectionMode, ElevationProtectionMode::LogonAndElevation);
}

}  // namespace
