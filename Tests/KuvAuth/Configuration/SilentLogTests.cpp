#include "Support/SilentLog.h"

#include "KuvAuth/Configuration/SettingEnums.h"

namespace {

using SilentConfiguration = KuvTest::SilentLogFixture;

TEST_F(SilentConfiguration, FallsBackToTheDefaultUsernameFormat) {
  EXPECT_EQ(UsernameFormatFromName("another"), UsernameFormat::NTLM);
}

TEST_F(SilentConfiguration, IgnoresAnInvalidProviderIdentifier) {
  registry.Local().SetText(L"Host", L"auth.kuv.example");
  registry.Local().SetText(L"IKey", L"client");
  registry.Local().SetText(L"SKey", L"secret");
  registry.Local().SetTexts(L"ProvidersWhitelist", {L"none", L"{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}"});
  EXPECT_TRUE(EnsureConfigurationLoaded());
  EXPECT_EQ(GetConfiguration()->ProvidersWhitelist.size(), 1u);
}

}  // namespace
