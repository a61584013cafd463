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

// What the record is when each setting stands in one key alone.
std::string ReadAlone(const std::string& path, const char* name, bool isText, std::uint32_t number) {
  KuvTest::FakeRegistry alone;
  if (isText) {
    alone.SetText(path, name, std::to_string(number));
  } else {
    alone.SetDword(path, name, number);
  }
  Configuration record;
  record.Load(alone);
  return Describe(record);
}

TEST_F(ConfigurationPrecedence, PolicyValueWinsForEverySetting) {
  for (const bool isText : {true, false}) {
    for (const char* const name : isText
                                      ? std::vector<const char*>(std::begin(kTexts), std::end(kTexts))
                                      : std::vector<const char*>(std::begin(kNumbers), std::end(kNumbers))) {
      for (const std::uint32_t local : {0u, 1u}) {
        SCOPED_TRACE(::testing::Message() << name << ", local " << local);
        KuvTest::FakeRegistry both;
        const std::uint32_t policy = 1 - local;
        if (isText) {
          both.SetText(kLocalPath, name, std::to_string(local));
          both.SetText(kPolicyPath, name, std::to_string(policy));
        } else {
          both.SetDword(kLocalPath, name, local);
          both.SetDword(kPolicyPath, name, policy);
        }
        Configuration loaded;
        loaded.Load(both);
        EXPECT_EQ(Describe(loaded), ReadAlone(kPolicyPath, name, isText, policy));
        EXPECT_NE(Describe(loaded), ReadAlone(kLocalPath, name, isText, local));
      }
    }
  }
}

TEST_F(ConfigurationPrecedence, LocalValueHoldsIfThePolicyKeyLacksIt) {
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

TEST_F(ConfigurationPrecedence, IsPerValueAndNotPerKey) {
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

TEST_F(ConfigurationPrecedence, PolicyValueOfAnotherTypeDoesNotHideTheLocalOne) {
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

TEST_F(ConfigurationPrecedence, PolicyModeOutOfRangeStillHidesTheLocalOne) {
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
  fake.CreateKey(kPolicyPath);
  Load();
  EXPECT_EQ(record.OfflineMaxUsers, 5u);
}

TEST_F(ConfigurationPrecedence, PolicyOfflineMaxUsersOfAnotherTypeDiscardsTheLocalValue) {
  fake.SetDword(kLocalPath, "OfflineMaxUsers", 10);
  fake.SetText(kPolicyPath, "OfflineMaxUsers", "7");
  Load();
  EXPECT_EQ(record.OfflineMaxUsers, 5u);
}

TEST_F(ConfigurationPrecedence, PolicyOfflineMaxUsersWins) {
  fake.SetDword(kLocalPath, "OfflineMaxUsers", 10);
  fake.SetDword(kPolicyPath, "OfflineMaxUsers", 7);
  Load();
  EXPECT_EQ(record.OfflineMaxUsers, 7u);
}

TEST_F(ConfigurationPrecedence, LocalOfflineMaxUsersHoldsIfThePolicyKeyCannotBeOpened) {
  fake.SetDword(kLocalPath, "OfflineMaxUsers", 10);
  Load();
  EXPECT_EQ(record.OfflineMaxUsers, 10u);
}

TEST_F(ConfigurationPrecedence, LocalOfflineMaxUsersHoldsIfThePolicyKeyIsDenied) {
  fake.SetDword(kLocalPath, "OfflineMaxUsers", 10);
  fake.SetDword(kPolicyPath, "OfflineMaxUsers", 7);
  fake.FailOpen(3, ERROR_ACCESS_DENIED);
  Load();
  EXPECT_EQ(record.OfflineMaxUsers, 10u);
}

TEST_F(ConfigurationPrecedence, HoldsInThePlatformsRegistry) {
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
