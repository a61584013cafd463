#include <gtest/gtest.h>

#include "RecordFixture.h"

namespace {

using KuvTest::Describe;
using KuvTest::Info;
using KuvTest::kLocalPath;
using KuvTest::kPolicyPath;
using KuvTest::LogLines;

class ConfigurationPrecedence : public KuvTest::RecordFixture {
 protected:
  ConfigurationPrecedence() { SetCredentials(); }

  void Load() { EXPECT_TRUE(record.Load(fake)); }

  static constexpr const char* kTexts[] = {"Host", "IKey", "SKey", "HttpProxyHost"};
  static constexpr const char* kNumbers[] = {"FailOpen",
                                             "EnableSmartCards",
                                             "WrapSmartCards",
                                             "AutoPush",
                                             "local_ip_fallback",
                                             "UsernameFormatForService",
                                             "HttpProxyPort",
                                             "OfflineAvailable",
                                             "ElevationProtectionMode",
                                             "ElevationOfflineEnable",
                                             "ElevationOfflineEnrollment",
                                             "InactivityTimeoutSeconds"};
};

// A setting with its number in each key; -1 for none.
struct SettingNumbers {
  const char* name;
  bool isText;
  int local;
  int policy;
};

std::string Loaded(const SettingNumbers& setting) {
  KuvTest::FakeRegistry values;
  for (const auto& [path, number] : {std::pair{kLocalPath, setting.local}, {kPolicyPath, setting.policy}}) {
    if (number < 0) continue;
    if (setting.isText) {
      values.SetText(path, setting.name, std::to_string(number));
    } else {
      values.SetDword(path, setting.name, static_cast<std::uint32_t>(number));
    }
  }
  Configuration record;
  record.Load(values);
  return Describe(record);
}

TEST_F(ConfigurationPrecedence, PolicyValueWinsForEverySetting) {
  const auto check = [](const char* name, bool isText) {
    for (const int local : {0, 1}) {
      SCOPED_TRACE(::testing::Message() << name << ", local " << local);
      const std::string both = Loaded({name, isText, local, 1 - local});
      EXPECT_EQ(both, Loaded({name, isText, -1, 1 - local}));
      EXPECT_NE(both, Loaded({name, isText, local, -1}));
    }
  };
  for (const char* const name : kTexts) check(name, /*isText=*/true);
  for (const char* const name : kNumbers) check(name, /*isText=*/false);
}

TEST_F(ConfigurationPrecedence, LocalValueAppliesIfThePolicyKeyHasNone) {
  fake.SetDword(kLocalPath, "FailOpen", 0);
  fake.SetDword(kLocalPath, "UsernameFormatForService", 2);
  fake.SetText(kLocalPath, "HttpProxyHost", "proxy");
  fake.SetDword(kLocalPath, "HttpProxyPort", 8);
  fake.SetDword(kLocalPath, "ElevationProtectionMode", 1);
  fake.SetDword(kLocalPath, "InactivityTimeoutSeconds", 9);
  Load();
  const std::string withoutPolicy = Describe(record);
  fake.CreateKey(kPolicyPath);
  record = {};
  Load();
  EXPECT_EQ(Describe(record), withoutPolicy);
  EXPECT_EQ(record.HttpProxyHost, "proxy");
}

TEST_F(ConfigurationPrecedence, AppliesToEachValueSeparately) {
  fake.SetText(kPolicyPath, "IKey", "POLICY");
  fake.SetText(kPolicyPath, "HttpProxyHost", "proxy");
  Load();
  EXPECT_EQ(record.Host, "api.example.com");
  EXPECT_EQ(record.IKey, "POLICY");
  EXPECT_EQ(record.SKey, "SKEY");
  EXPECT_EQ(log.Lines(), (LogLines{Info("Host: api.example.com"), Info("IKey: IKEY"), Info("IKey: POLICY"),
                                   Info("HttpProxyHost: proxy")}));
}

TEST_F(ConfigurationPrecedence, PolicyHostReplacesThePortToo) {
  fake.SetText(kLocalPath, "Host", "local:8443");
  fake.SetText(kPolicyPath, "Host", "policy");
  Load();
  EXPECT_EQ(record.Host, "policy");
  EXPECT_EQ(record.Port, 443u);
}

TEST_F(ConfigurationPrecedence, PolicyValueOfAnotherTypeIsIgnored) {
  fake.SetText(kLocalPath, "HttpProxyHost", "proxy");
  fake.SetDword(kLocalPath, "FailOpen", 0);
  fake.SetDword(kLocalPath, "HttpProxyPort", 8);
  fake.SetDword(kPolicyPath, "HttpProxyHost", 1);
  fake.SetDword(kPolicyPath, "IKey", 1);
  fake.SetText(kPolicyPath, "FailOpen", "1");
  fake.SetText(kPolicyPath, "HttpProxyPort", "9");
  Load();
  EXPECT_EQ(record.HttpProxyHost, "proxy");
  EXPECT_EQ(record.IKey, "IKEY");
  EXPECT_FALSE(record.FailOpen);
  EXPECT_EQ(record.HttpProxyPort, 8u);
}

TEST_F(ConfigurationPrecedence, EmptyPolicyTextHidesTheLocalOne) {
  for (const char* const name : {"Host", "IKey", "SKey"}) {
    SCOPED_TRACE(name);
    KuvTest::FakeRegistry emptied;
    for (const char* const text : {"Host", "IKey", "SKey", "HttpProxyHost"})
      emptied.SetText(kLocalPath, text, "x");
    emptied.SetText(kPolicyPath, name, "");
    emptied.SetText(kPolicyPath, "HttpProxyHost", "");
    record = {};
    EXPECT_FALSE(record.Load(emptied));
    EXPECT_EQ(record.HttpProxyHost, "");
  }
}

TEST_F(ConfigurationPrecedence, PolicyNumberOutOfRangeHidesTheLocalOne) {
  fake.SetDword(kLocalPath, "ElevationProtectionMode", 1);
  fake.SetDword(kPolicyPath, "ElevationProtectionMode", 3);
  fake.SetDword(kLocalPath, "UsernameFormatForService", 2);
  fake.SetDword(kPolicyPath, "UsernameFormatForService", 3);
  Load();
  EXPECT_EQ(record.ElevationProtectionMode, ElevationProtectionMode::LogonOnly);
  EXPECT_EQ(record.UsernameFormat, UsernameFormat::NTLM);
}

TEST_F(ConfigurationPrecedence, PolicyKeyWithoutOfflineMaxUsersDiscardsTheLocalValue) {
  fake.SetDword(kLocalPath, "OfflineMaxUsers", 10);
  Load();
  EXPECT_EQ(record.OfflineMaxUsers, 10u) << "no policy key";
  fake.CreateKey(kPolicyPath);
  Load();
  EXPECT_EQ(record.OfflineMaxUsers, 5u) << "no value";
  fake.SetText(kPolicyPath, "OfflineMaxUsers", "7");
  record = {};
  Load();
  EXPECT_EQ(record.OfflineMaxUsers, 5u) << "another type";
  fake.SetDword(kPolicyPath, "OfflineMaxUsers", 7);
  Load();
  EXPECT_EQ(record.OfflineMaxUsers, 7u) << "a number";
}

TEST_F(ConfigurationPrecedence, LocalOfflineMaxUsersAppliesIfThePolicyKeyIsDenied) {
  fake.SetDword(kLocalPath, "OfflineMaxUsers", 10);
  fake.SetDword(kPolicyPath, "OfflineMaxUsers", 7);
  fake.FailOpen(3, ERROR_ACCESS_DENIED);
  Load();
  EXPECT_EQ(record.OfflineMaxUsers, 10u);
}

TEST_F(ConfigurationPrecedence, IsTheSameInThePlatformsRegistry) {
  Registry platform;
  for (const auto& key : {registry.Local(), registry.Policy()}) key.SetText(L"SKey", L"s");
  registry.Local().SetText(L"Host", L"local");
  registry.Local().SetText(L"IKey", L"LOCAL");
  registry.Local().SetDword(L"OfflineMaxUsers", 10);
  registry.Policy().SetText(L"IKey", L"POLICY");
  EXPECT_TRUE(record.Load(platform));
  EXPECT_EQ(record.Host, "local");
  EXPECT_EQ(record.IKey, "POLICY");
  EXPECT_EQ(record.OfflineMaxUsers, 5u);
}

}  // namespace
