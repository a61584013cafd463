#include <cstring>

#include <gtest/gtest.h>

#include "RecordFixture.h"

namespace {

using namespace std::string_literals;
using KuvTest::Describe;
using KuvTest::FakeRegistry;
using KuvTest::Info;
using KuvTest::kLocalPath;
using KuvTest::LogLines;

constexpr std::size_t kBuffer = 1024;

struct TextSetting {
  const char* name;
  std::string Configuration::*field;
  const char* line;  // the start of its log line; null for none
};
constexpr TextSetting kTexts[] = {
    {"Host", &Configuration::Host, "Host: "},
    {"IKey", &Configuration::IKey, "IKey: "},
    {"SKey", &Configuration::SKey, nullptr},
    {"HttpProxyHost", &Configuration::HttpProxyHost, "HttpProxyHost: "},
};

constexpr const char* kNumbers[] = {"FailOpen",
                                    "EnableSmartCards",
                                    "WrapSmartCards",
                                    "AutoPush",
                                    "HttpProxyPort",
                                    "OfflineAvailable",
                                    "OfflineMaxUsers",
                                    "UsernameFormatForService",
                                    "local_ip_fallback",
                                    "ElevationProtectionMode",
                                    "ElevationOfflineEnable",
                                    "ElevationOfflineEnrollment",
                                    "InactivityTimeoutSeconds"};

// Which values are accepted, and which count as absent.
class SettingRules : public KuvTest::RecordFixture {
 protected:
  // Sets a record that every accepted value of these tests changes.
  void Prepare() {
    record = {};
    for (const TextSetting& setting : kTexts) record.*setting.field = "before";
    record.Port = 1;
    record.HttpProxyPort = 77;
    record.InactivityTimeoutSeconds = 77;
    record.ElevationProtectionMode = ElevationProtectionMode::ElevationOnly;
    record.UsernameFormat = UsernameFormat::UPN;
    log.Clear();
  }

  void Read(IRegistry& from) { record.ReadKey(from, "Software\\Kuvant\\KuvCredProv"); }

  void ExpectAccepted(const TextSetting& setting, DWORD type, const std::string& data,
                      const std::string& text) {
    SCOPED_TRACE(setting.name);
    FakeRegistry values;
    values.Set(kLocalPath, setting.name, type, data.data(), data.size());
    Prepare();
    Read(values);
    EXPECT_EQ(record.*setting.field, text);
    const LogLines expected = setting.line == nullptr ? LogLines{} : LogLines{Info(setting.line + text)};
    EXPECT_EQ(log.Lines(), expected);
  }

  // The value counts as absent: no field changes, nothing is logged.
  void ExpectAbsent(IRegistry& values) {
    Prepare();
    const std::string before = Describe(record);
    Read(values);
    EXPECT_EQ(Describe(record), before);
    EXPECT_EQ(log.Lines(), LogLines{});
  }

  void ExpectAbsent(const char* name, DWORD type, const void* data, std::size_t size) {
    SCOPED_TRACE(::testing::Message() << name << ", type " << type << ", " << size << " bytes");
    FakeRegistry values;
    values.Set(kLocalPath, name, type, data, size);
    ExpectAbsent(values);
  }
};

TEST_F(SettingRules, TextEndsAtItsFirstNulOrWithItsDataOfUpTo1024Bytes) {
  const std::string longest(kBuffer - 1, 'a');
  const std::pair<std::string, std::string> rows[] = {
      {"abc\0"s, "abc"},
      {"abc\0def\0"s, "abc"},
      {"\0def\0"s, ""},
      {"\0"s, ""},
      {"abc", "abc"},
      {"a", "a"},
      {longest + '\0', longest},
      {longest + 'a', longest + 'a'},
  };
  for (const TextSetting& setting : kTexts) {
    for (const auto& [data, text] : rows) ExpectAccepted(setting, REG_SZ, data, text);
  }
}

TEST_F(SettingRules, EmptyOrTooLongTextOrAnotherTypeIsAbsent) {
  const std::string text(100'000, 'a');
  for (const TextSetting& setting : kTexts) {
    for (const std::size_t size : {std::size_t{0}, kBuffer + 1, kBuffer + 2, 2 * kBuffer, text.size()}) {
      ExpectAbsent(setting.name, REG_SZ, text.data(), size);
    }
    for (const DWORD type : {REG_NONE, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_MULTI_SZ, REG_QWORD}) {
      ExpectAbsent(setting.name, type, "abc", 4);
    }
  }
}

TEST_F(SettingRules, TextInThePlatformsRegistryHasTheSameLimits) {
  Registry platform;
  const KuvTest::TestKey key = registry.Local();
  const std::wstring longest(kBuffer - 1, L'a');
  for (const TextSetting& setting : kTexts) {
    SCOPED_TRACE(setting.name);
    const std::wstring name{setting.name, setting.name + std::strlen(setting.name)};
    key.SetText(name, longest);
    Prepare();
    Read(platform);
    EXPECT_EQ(record.*setting.field, std::string(kBuffer - 1, 'a'));
    key.SetText(name, longest + L"a");
    ExpectAbsent(platform);
    key.SetBytes(name, REG_EXPAND_SZ, L"abc", 8);
    ExpectAbsent(platform);
    key.SetBytes(name, REG_SZ, L"", 0);
    ExpectAbsent(platform);
    key.SetDword(name, 1);
    ExpectAbsent(platform);
    // The platform stores a NUL that follows the data too, so another character follows here.
    key.SetBytes(name, REG_SZ, L"abcd", 6);
    Prepare();
    Read(platform);
    EXPECT_EQ(record.*setting.field, "abc");
    key.DeleteValue(name);
  }
}

TEST_F(SettingRules, NumberOfAnotherTypeOrTooLongIsAbsent) {
  constexpr BYTE one[64] = {1};
  constexpr BYTE zero[4] = {0};
  for (const char* const name : kNumbers) {
    for (const DWORD type :
         {REG_NONE, REG_SZ, REG_EXPAND_SZ, REG_BINARY, REG_DWORD_BIG_ENDIAN, REG_MULTI_SZ, REG_QWORD}) {
      ExpectAbsent(name, type, zero, 4);
      ExpectAbsent(name, type, one, 4);
      ExpectAbsent(name, type, one, 2);
    }
    for (const std::size_t size : {5u, 8u, 64u}) ExpectAbsent(name, REG_DWORD, one, size);
  }
}

TEST_F(SettingRules, TextStoredForAFlagKeepsTheFlag) {
  const KuvTest::TestKey key = registry.Local();
  Registry platform;
  key.SetText(L"FailOpen", L"0");
  key.SetText(L"AutoPush", L"1");
  ExpectAbsent(platform);
  EXPECT_TRUE(record.FailOpen);
  EXPECT_FALSE(record.AutoPush);
}

// The size of a number is not checked: a short one leaves its high bytes as they were before the query.
TEST_F(SettingRules, ShortNumberFillsTheLowBytes) {
  constexpr BYTE data[] = {2, 3, 4};
  for (const auto& [size, expected] : {std::pair{0u, 0u}, {1u, 2u}, {2u, 0x302u}, {3u, 0x40302u}}) {
    SCOPED_TRACE(size);
    fake.Set(kLocalPath, "HttpProxyPort", REG_DWORD, data, size);
    fake.Set(kLocalPath, "InactivityTimeoutSeconds", REG_DWORD, data, size);
    fake.Set(kLocalPath, "FailOpen", REG_DWORD, data, size);
    fake.Set(kLocalPath, "AutoPush", REG_DWORD, data, size);
    fake.Set(kLocalPath, "OfflineMaxUsers", REG_DWORD, data, size);
    fake.Set(kLocalPath, "ElevationProtectionMode", REG_DWORD, data, size);
    Prepare();
    Read(fake);
    EXPECT_EQ(record.HttpProxyPort, expected);
    EXPECT_EQ(record.InactivityTimeoutSeconds, expected);
    EXPECT_EQ(record.FailOpen, expected != 0);
    EXPECT_EQ(record.AutoPush, expected != 0);
    EXPECT_EQ(record.OfflineMaxUsers, expected > 50 ? 50u : expected);
    EXPECT_EQ(static_cast<std::uint32_t>(record.ElevationProtectionMode), expected > 2 ? 0u : expected);
  }
}

TEST_F(SettingRules, EmptyUsernameFormatIsNtlm) {
  for (const bool real : {false, true}) {
    SCOPED_TRACE(real);
    Registry platform;
    registry.Local().SetBytes(L"UsernameFormatForService", REG_DWORD, "", 0);
    fake.Set(kLocalPath, "UsernameFormatForService", REG_DWORD, "", 0);
    Prepare();
    Read(real ? static_cast<IRegistry&>(platform) : fake);
    EXPECT_EQ(record.UsernameFormat, UsernameFormat::NTLM);
    EXPECT_EQ(log.Lines(), LogLines{});
  }
}

TEST_F(SettingRules, FailedQueryIsAbsentWhateverItsTypeAndData) {
  constexpr DWORD one = 1;
  constexpr LSTATUS failures[] = {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_MORE_DATA, -1};
  for (const LSTATUS status : failures) {
    SCOPED_TRACE(status);
    FakeRegistry values;
    for (const TextSetting& setting : kTexts) {
      values.SetText(kLocalPath, setting.name, "after");
      values.FailQuery(setting.name, status);
    }
    for (const char* const name : kNumbers) {
      values.Set(kLocalPath, name, REG_DWORD, &one, sizeof(one));
      values.FailQuery(name, status);
    }
    ExpectAbsent(values);
  }
}

}  // namespace
