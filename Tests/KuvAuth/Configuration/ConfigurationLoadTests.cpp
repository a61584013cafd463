#include <gtest/gtest.h>

#include "RecordFixture.h"
#include "Support/ImportHook.h"

namespace {

using KuvTest::Describe;
using KuvTest::Info;
using KuvTest::kLocalPath;
using KuvTest::kNotConfigured;
using KuvTest::kPolicyPath;
using KuvTest::LogLines;

using Calls = std::vector<std::string>;

constexpr wchar_t kProvider[] = L"{11111111-2222-3333-4444-555555555555}";

// The registry calls of one pass over a key, in order.
Calls CallsOfPass(const std::string& path) {
  return {
      "OpenKeyA HKLM\\" + path + " options 0 access 0x1",
      "OpenKeyA HKLM\\" + path + " options 0 access 0x1",
      "QueryValueW Debug type 4 size 4",
      "CloseKey " + path,
      "QueryValueA Host type 1 size 1024",
      "QueryValueA IKey type 1 size 1024",
      "QueryValueA SKey type 1 size 1024",
      "QueryValueA FailOpen type 4 size 4",
      "QueryValueA EnableSmartCards type 4 size 4",
      "QueryValueA WrapSmartCards type 4 size 4",
      "QueryValueA AutoPush type 4 size 4",
      "QueryValueA local_ip_fallback type 4 size 4",
      "QueryValueA UsernameFormatForService type 4 size 4",
      "QueryValueA HttpProxyHost type 1 size 1024",
      "QueryValueA HttpProxyPort type 4 size 4",
      "QueryValueA OfflineAvailable type 4 size 4",
      "QueryValueA OfflineMaxUsers type 4 size 4",
      "QueryValueW ProvidersWhitelist type 7 size 760",
      "QueryValueA ElevationProtectionMode type 4 size 4",
      "QueryValueA ElevationOfflineEnable type 4 size 4",
      "QueryValueA ElevationOfflineEnrollment type 4 size 4",
      "QueryValueA InactivityTimeoutSeconds type 4 size 4",
      "CloseKey " + path,
  };
}

class ConfigurationLoad : public KuvTest::RecordFixture {
 protected:
  // Stores a value other than the default for every setting.
  void SetEverything(const KuvTest::TestKey& key) {
    key.SetDword(L"Debug", 1);
    key.SetText(L"Host", L"API.Example.com:8443");
    key.SetText(L"IKey", L"Identifier");
    key.SetText(L"SKey", L"SecretOfTheService");
    key.SetDword(L"FailOpen", 0);
    key.SetDword(L"EnableSmartCards", 1);
    key.SetDword(L"WrapSmartCards", 1);
    key.SetDword(L"AutoPush", 1);
    key.SetDword(L"local_ip_fallback", 1);
    key.SetDword(L"UsernameFormatForService", 2);
    key.SetText(L"HttpProxyHost", L"Proxy.Example.com");
    key.SetDword(L"HttpProxyPort", 3128);
    key.SetDword(L"OfflineAvailable", 0);
    key.SetDword(L"OfflineMaxUsers", 9);
    key.SetTexts(L"ProvidersWhitelist", {kProvider});
    key.SetDword(L"ElevationProtectionMode", 2);
    key.SetDword(L"ElevationOfflineEnable", 0);
    key.SetDword(L"ElevationOfflineEnrollment", 1);
    key.SetDword(L"InactivityTimeoutSeconds", 600);
  }

  const std::string everything =
      "Host=api.example.com Port=8443 IKey=Identifier SKey=SecretOfTheService "
      "HttpProxyHost=Proxy.Example.com HttpProxyPort=3128 OfflineMaxUsers=9 InactivityTimeoutSeconds=600 "
      "ProvidersWhitelist={11111111-2222-3333-4444-555555555555} FailOpen=0 AutoPush=1 local_ip_fallback=1 "
      "EnableSmartCards=1 WrapSmartCards=1 OfflineAvailable=0 ElevationOfflineEnable=0 "
      "ElevationOfflineEnrollment=1 ElevationProtectionMode=2 UsernameFormat=2";
  const LogLines everythingLogged{
      Info("Debug logging level enabled"),
      Info("Host: api.example.com:8443"),
      Info("IKey: Identifier"),
      Info("HttpProxyHost: Proxy.Example.com"),
      Info("HttpProxyPort: 3128"),
      Info("Found whitelist registry key, replacing default whitelisted providers."),
      Info("Adding provider {11111111-2222-3333-4444-555555555555} to the WhiteList"),
      Info("Inactivity Timeout in seconds: 600"),
  };
  Registry platform;
};

TEST_F(ConfigurationLoad, ReadsEverySettingOfEitherKey) {
  for (const auto& key : {registry.Local(), registry.Policy()}) {
    SetEverything(key);
    record = {};
    log.Clear();
    EXPECT_TRUE(record.Load(platform));
    EXPECT_EQ(Describe(record), everything);
    EXPECT_EQ(log.Lines(), everythingLogged);
    key.Delete();
  }
}

TEST_F(ConfigurationLoad, LogsTheLocalPassBeforeThePolicyPass) {
  registry.Local().SetText(L"Host", L"local");
  registry.Local().SetText(L"IKey", L"LocalKey");
  registry.Policy().SetText(L"Host", L"policy");
  registry.Policy().SetText(L"IKey", L"PolicyKey");
  EXPECT_FALSE(record.Load(platform));
  EXPECT_EQ(log.Lines(), (LogLines{Info("Host: local"), Info("IKey: LocalKey"), Info("Host: policy"),
                                   Info("IKey: PolicyKey"), kNotConfigured}));
}

TEST_F(ConfigurationLoad, QueriesTheSettingsInOrderAndClosesEachKey) {
  fake.CreateKey(kLocalPath);
  fake.CreateKey(kPolicyPath);
  EXPECT_FALSE(record.Load(fake));
  Calls expected = CallsOfPass(kLocalPath);
  const Calls policy = CallsOfPass(kPolicyPath);
  expected.insert(expected.end(), policy.begin(), policy.end());
  EXPECT_EQ(fake.Calls(), expected);
}

TEST_F(ConfigurationLoad, MakesTheSameQueriesWhateverItFinds) {
  SetCredentials(kLocalPath);
  fake.SetDword(kLocalPath, "Debug", 2);
  fake.SetText(kLocalPath, "FailOpen", "0");
  fake.SetDword(kLocalPath, "SKey", 1);
  record.ReadKey(fake, kLocalPath.c_str());
  EXPECT_EQ(fake.Calls(), CallsOfPass(kLocalPath));
}

TEST_F(ConfigurationLoad, OpensAndClosesEachPlatformKeyTwice) {
  SetEverything(registry.Local());
  SetEverything(registry.Policy());
  std::vector<HKEY> opened;
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  KUV_IMPORT_HOOK(close, RegCloseKey);
  open.Answer([&](HKEY root, const char* path, DWORD options, REGSAM access, HKEY* result) {
    const LSTATUS status = open.Original(root, path, options, access, result);
    opened.push_back(*result);
    return status;
  });
  EXPECT_TRUE(record.Load(platform));
  const char* const paths[] = {kLocalPath.c_str(), kLocalPath.c_str(), kPolicyPath.c_str(),
                               kPolicyPath.c_str()};
  ASSERT_EQ(open.CallCount(), std::size(paths));
  for (std::size_t call = 0; call < std::size(paths); ++call) {
    SCOPED_TRACE(call);
    EXPECT_EQ(std::get<0>(open.Calls()[call]), HKEY_LOCAL_MACHINE);
    EXPECT_STREQ(std::get<1>(open.Calls()[call]), paths[call]);
    EXPECT_EQ(std::get<2>(open.Calls()[call]), 0u);
    EXPECT_EQ(std::get<3>(open.Calls()[call]), 0x0001u);
  }
  ASSERT_EQ(opened.size(), 4u);
  const std::vector<std::tuple<HKEY>> expected{{opened[1]}, {opened[0]}, {opened[3]}, {opened[2]}};
  EXPECT_EQ(close.Calls(), expected);
}

TEST_F(ConfigurationLoad, UsesOnlyTheGivenRegistry) {
  SetEverything(registry.Local());
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  EXPECT_FALSE(record.Load(fake));
  EXPECT_EQ(open.CallCount(), 0u);
}

TEST_F(ConfigurationLoad, FillsAndRefreshesOnlyItsOwnRecord) {
  SetCredentials();
  EXPECT_TRUE(record.Load(fake));
  EXPECT_TRUE(record.IsConfigured());
  EXPECT_EQ(Describe(*GetConfiguration()), Describe(Configuration{}));
  fake.SetText(kLocalPath, "IKey", "NEW");
  EXPECT_TRUE(record.Load(fake));
  EXPECT_EQ(record.IKey, "NEW");
}

TEST_F(ConfigurationLoad, WithoutAnyKeyKeepsTheDefaultsAndLogsAnError) {
  EXPECT_FALSE(record.Load(platform));
  EXPECT_EQ(Describe(record), Describe(Configuration{}));
  EXPECT_EQ(log.Lines(), LogLines{kNotConfigured});
}

TEST_F(ConfigurationLoad, WithoutAnyKeyClearsOnlyTheList) {
  SetEverything(registry.Local());
  ASSERT_TRUE(record.Load(platform));
  Configuration expected = record;
  expected.ProvidersWhitelist.clear();
  registry.Local().Delete();
  log.Clear();
  EXPECT_TRUE(record.Load(platform));
  EXPECT_EQ(Describe(record), Describe(expected));
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(ConfigurationLoad, FailsForEachRequiredSettingThatIsMissingOrEmpty) {
  constexpr const char* kRequired[] = {"Host", "IKey", "SKey"};
  for (const char* const name : kRequired) {
    for (const char* const text : {static_cast<const char*>(nullptr), "", " ", "\t\r\n "}) {
      SCOPED_TRACE(::testing::Message() << name << " '" << (text == nullptr ? "missing" : text) << "'");
      KuvTest::FakeRegistry values;
      for (const char* const present : kRequired) {
        if (present != name) values.SetText(kLocalPath, present, "value");
      }
      if (text != nullptr) values.SetText(kLocalPath, name, text);
      record = {};
      log.Clear();
      EXPECT_FALSE(record.Load(values));
      EXPECT_EQ(log.Lines().back(), kNotConfigured);
    }
  }
}

TEST_F(ConfigurationLoad, LaterLoadKeepsTheValuesOfAFailedOne) {
  fake.SetText(kLocalPath, "Host", "found");
  fake.SetDword(kLocalPath, "FailOpen", 0);
  fake.SetDword(kLocalPath, "HttpProxyPort", 7);
  fake.Set(kLocalPath, "ProvidersWhitelist", REG_MULTI_SZ, kProvider, sizeof(kProvider));
  ASSERT_FALSE(record.Load(fake));
  ASSERT_EQ(record.ProvidersWhitelist.size(), 1u);
  Configuration expected = record;
  expected.ProvidersWhitelist.clear();
  expected.IKey = "later";
  KuvTest::FakeRegistry later;
  later.SetText(kLocalPath, "IKey", "later");
  EXPECT_FALSE(record.Load(later));
  EXPECT_EQ(Describe(record), Describe(expected));
}

TEST_F(ConfigurationLoad, NeverLogsTheSecretKey) {
  for (const bool local : {true, false}) {
    SCOPED_TRACE(local);
    const KuvTest::TestKey key = local ? registry.Local() : registry.Policy();
    SetEverything(key);
    key.DeleteValue(L"Debug");
    key.SetText(L"SKey", L" SecretOf TheService ");
    EXPECT_TRUE(record.Load(platform));
    ASSERT_EQ(record.SKey, "SecretOfTheService");
    EXPECT_FALSE(log.Contains("SecretOf"));
    EXPECT_FALSE(log.Contains("TheService"));
    EXPECT_FALSE(log.Contains("SKey"));
    EXPECT_TRUE(log.Contains("IKey: Identifier"));
  }
}

TEST_F(ConfigurationLoad, NamesTheSecretKeyOnlyIfTheRecordIsIncomplete) {
  fake.SetText(kLocalPath, "SKey", "SecretOfTheService");
  EXPECT_FALSE(record.Load(fake));
  EXPECT_EQ(log.Lines(), LogLines{kNotConfigured});
}

TEST_F(ConfigurationLoad, SetsTheLogLevelBeforeTheOtherSettings) {
  log.System().minLevel = LogLevel::Error;
  SetCredentials();
  fake.SetDword(kLocalPath, "Debug", 1);
  EXPECT_TRUE(record.Load(fake));
  EXPECT_EQ(log.Lines(), (LogLines{Info("Debug logging level enabled"), Info("Host: api.example.com"),
                                   Info("IKey: IKEY")}));
  EXPECT_EQ(log.System().minLevel, LogLevel::Debug);
}

TEST_F(ConfigurationLoad, WorksWithoutALog) {
  SetEverything(registry.Local());
  g_logSystem = nullptr;
  EXPECT_TRUE(record.Load(platform));
  EXPECT_EQ(Describe(record), everything);
}

TEST_F(ConfigurationLoad, KeyThatCannotBeOpenedChangesNothing) {
  for (const LSTATUS status : {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_INVALID_HANDLE}) {
    SCOPED_TRACE(status);
    KuvTest::FakeRegistry closed;
    closed.SetDword(kLocalPath, "Debug", 1);
    closed.SetDword(kLocalPath, "FailOpen", 0);
    closed.FailOpen(1, status);
    record.OfflineMaxUsers = 20;
    const std::string before = Describe(record);
    record.ReadKey(closed, kLocalPath.c_str());
    EXPECT_EQ(closed.Calls(), Calls{"OpenKeyA HKLM\\Software\\Kuvant\\KuvCredProv options 0 access 0x1"});
    EXPECT_EQ(Describe(record), before);
    EXPECT_EQ(log.System().minLevel, LogLevel::Trace);
    EXPECT_EQ(log.Lines(), LogLines{});
  }
}

TEST_F(ConfigurationLoad, PolicyKeyAppliesIfTheLocalKeyIsDenied) {
  SetCredentials(kPolicyPath);
  fake.SetText(kLocalPath, "HttpProxyHost", "proxy");
  fake.FailOpen(1, ERROR_ACCESS_DENIED);
  EXPECT_TRUE(record.Load(fake));
  EXPECT_EQ(record.HttpProxyHost, "");
  EXPECT_EQ(fake.CountCalls("OpenKeyA"), 3u);
}

TEST_F(ConfigurationLoad, ReadsTheSettingsEvenIfTheLogLevelCannotBeRead) {
  SetCredentials();
  fake.SetDword(kLocalPath, "Debug", 1);
  fake.FailOpen(2, ERROR_ACCESS_DENIED);
  EXPECT_TRUE(record.Load(fake));
  EXPECT_EQ(log.System().minLevel, LogLevel::Trace);
  EXPECT_EQ(fake.CountCalls("CloseKey"), 1u);
}

TEST_F(ConfigurationLoad, IgnoresAFailedClose) {
  SetCredentials();
  fake.AnswerClose(ERROR_INVALID_HANDLE);
  EXPECT_TRUE(record.Load(fake));
  EXPECT_EQ(log.Lines(), (LogLines{Info("Host: api.example.com"), Info("IKey: IKEY")}));
}

// Forwards to another registry, and throws at the n-th query by an 8-bit name.
class ThrowingRegistry final : public Registry {
 public:
  ThrowingRegistry(KuvTest::FakeRegistry& registry, int failing) : registry_(registry), failing_(failing) {}

  LSTATUS QueryValueA(HKEY key, const char* valueName, DWORD* reserved, DWORD* type, BYTE* data,
                      DWORD* size) override {
    if (--failing_ == 0) throw valueName;
    return registry_.QueryValueA(key, valueName, reserved, type, data, size);
  }
  LSTATUS OpenKeyA(HKEY key, const char* subKey, DWORD options, REGSAM access, HKEY* result) override {
    return registry_.OpenKeyA(key, subKey, options, access, result);
  }
  LSTATUS CloseKey(HKEY key) override { return registry_.CloseKey(key); }
  LSTATUS QueryValueW(HKEY key, const wchar_t* valueName, DWORD* reserved, DWORD* type, BYTE* data,
                      DWORD* size) override {
    return registry_.QueryValueW(key, valueName, reserved, type, data, size);
  }

 private:
  KuvTest::FakeRegistry& registry_;
  int failing_;
};

TEST_F(ConfigurationLoad, PassesOnWhatTheRegistryThrowsAndClosesTheKeys) {
  SetCredentials(kLocalPath);
  SetCredentials(kPolicyPath);
  int thrown = 0;
  for (; thrown < 100; ++thrown) {
    SCOPED_TRACE(thrown);
    record = Configuration{};
    ThrowingRegistry throwing{fake, thrown + 1};
    try {
      EXPECT_TRUE(record.Load(throwing));
      break;
    } catch (const char*) {
      EXPECT_EQ(record.SKey, "");
      EXPECT_FALSE(record.IsConfigured());
    }
  }
  // Each key is queried for 17 numbers and texts.
  EXPECT_EQ(thrown, 34);
}

}  // namespace
