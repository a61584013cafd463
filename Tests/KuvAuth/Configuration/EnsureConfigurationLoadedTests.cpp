#include <gtest/gtest.h>

#include "RecordFixture.h"
#include "Support/ImportHook.h"

namespace {

using KuvTest::Info;
using KuvTest::kLocalPath;
using KuvTest::kNotConfigured;
using KuvTest::kPolicyPath;
using KuvTest::LogLines;

using Calls = std::vector<std::string>;

constexpr wchar_t kProvider[] = L"{11111111-2222-3333-4444-555555555555}";

class EnsureLoaded : public KuvTest::RecordFixture {
 protected:
  void SetRealCredentials() {
    registry.Local().SetText(L"Host", L"api.example.com");
    registry.Local().SetText(L"IKey", L"IKEY");
    registry.Local().SetText(L"SKey", L"SKEY");
  }

  Configuration& global = *GetConfiguration();
};

TEST_F(EnsureLoaded, FillsTheProcessRecordFromTheGivenRegistry) {
  SetCredentials();
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  EXPECT_TRUE(EnsureConfigurationLoaded(fake));
  EXPECT_EQ(global.Host, "api.example.com");
  EXPECT_EQ(global.Port, 443u);
  EXPECT_EQ(global.IKey, "IKEY");
  EXPECT_EQ(global.SKey, "SKEY");
  EXPECT_EQ(open.CallCount(), 0u);
}

TEST_F(EnsureLoaded, ReadsThePlatformsRegistryByDefault) {
  SetRealCredentials();
  EXPECT_TRUE(EnsureConfigurationLoaded());
  EXPECT_EQ(global.Host, "api.example.com");
  EXPECT_EQ(log.Lines(), (LogLines{Info("Host: api.example.com"), Info("IKey: IKEY")}));
}

TEST_F(EnsureLoaded, CompleteRecordMakesNoCallToTheGivenRegistry) {
  SetCredentials();
  ASSERT_TRUE(EnsureConfigurationLoaded(fake));
  fake.ClearCalls();
  log.Clear();
  fake.SetText(kLocalPath, "Host", "other.example.com");
  EXPECT_TRUE(EnsureConfigurationLoaded(fake));
  EXPECT_EQ(fake.Calls(), Calls{});
  EXPECT_EQ(global.Host, "api.example.com");
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(EnsureLoaded, CompleteRecordMakesNoCallToThePlatform) {
  SetRealCredentials();
  registry.Local().SetTexts(L"ProvidersWhitelist", {kProvider});
  ASSERT_TRUE(EnsureConfigurationLoaded());
  ASSERT_EQ(global.ProvidersWhitelist.size(), 1u);
  const GUID* const list = global.ProvidersWhitelist.data();
  log.Clear();
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  KUV_IMPORT_HOOK(queryA, RegQueryValueExA);
  KUV_IMPORT_HOOK(queryW, RegQueryValueExW);
  KUV_IMPORT_HOOK(close, RegCloseKey);
  EXPECT_TRUE(EnsureConfigurationLoaded());
  EXPECT_EQ(open.CallCount() + queryA.CallCount() + queryW.CallCount() + close.CallCount(), 0u);
  EXPECT_EQ(global.ProvidersWhitelist.size(), 1u);
  EXPECT_EQ(global.ProvidersWhitelist.data(), list);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(EnsureLoaded, CredentialsThatWereSetNeedNoRegistry) {
  SetServiceCredentials("host", "ikey", "skey");
  EXPECT_TRUE(EnsureConfigurationLoaded(fake));
  EXPECT_EQ(fake.Calls(), Calls{});
}

TEST_F(EnsureLoaded, FailedLoadIsRepeatedAndLoggedEachTime) {
  for (int attempt = 1; attempt <= 3; ++attempt) {
    SCOPED_TRACE(attempt);
    fake.ClearCalls();
    log.Clear();
    EXPECT_FALSE(EnsureConfigurationLoaded(fake));
    EXPECT_EQ(fake.Calls(),
              (Calls{"OpenKeyA HKLM\\Software\\Kuvant\\KuvCredProv options 0 access 0x1",
                     "OpenKeyA HKLM\\Software\\Policies\\Kuvant\\KuvCredProv options 0 access 0x1"}));
    EXPECT_EQ(log.Lines(), LogLines{kNotConfigured});
  }
}

TEST_F(EnsureLoaded, FailedLoadFromThePlatformsRegistryIsRepeated) {
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  EXPECT_FALSE(EnsureConfigurationLoaded());
  EXPECT_FALSE(EnsureConfigurationLoaded());
  EXPECT_EQ(open.CallCount(), 4u);
  EXPECT_EQ(log.Lines(), (LogLines{kNotConfigured, kNotConfigured}));
}

TEST_F(EnsureLoaded, LoadsAgainAfterAnAdministratorFixesTheSettings) {
  SetCredentials();
  fake.SetText(kLocalPath, "SKey", "");
  ASSERT_FALSE(EnsureConfigurationLoaded(fake));
  fake.SetText(kPolicyPath, "SKey", "SKEY");
  EXPECT_TRUE(EnsureConfigurationLoaded(fake));
  EXPECT_EQ(global.SKey, "SKEY");
}

TEST_F(EnsureLoaded, LoadsAgainIfAnyRequiredFieldIsMissing) {
  SetCredentials();
  for (int field = 0; field < 4; ++field) {
    SCOPED_TRACE(field);
    ASSERT_TRUE(EnsureConfigurationLoaded(fake));
    fake.ClearCalls();
    if (field == 0) global.Host.clear();
    if (field == 1) global.Port = 0;
    if (field == 2) global.IKey.clear();
    if (field == 3) global.SKey.clear();
    EXPECT_TRUE(EnsureConfigurationLoaded(fake));
    EXPECT_NE(fake.Calls(), Calls{});
  }
}

}  // namespace
