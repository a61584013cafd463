// A log that takes nothing changes no result.
#include <stdexcept>

#include <gtest/gtest.h>

#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/Configuration/SettingEnums.h"
#include "KuvAuth/Registry/Registry.h"
#include "Support/ImportHook.h"
#include "Support/KuvFixture.h"

namespace {

constexpr wchar_t kPath[] = L"Software\\KuvTest\\Silent";

class SilentConfiguration : public KuvTest::KuvFixture {
 protected:
  SilentConfiguration() { log.System().minLevel = LogLevel::Critical; }

  void Configure() const {
    registry.Local().SetText(L"Host", L"auth.kuv.example");
    registry.Local().SetText(L"IKey", L"client");
    registry.Local().SetText(L"SKey", L"secret");
  }

  Registry platform;
};

TEST_F(SilentConfiguration, WritesAndReadsANumber) {
  platform.WriteQword(HKEY_LOCAL_MACHINE, kPath, L"number", 7);
  EXPECT_EQ(platform.ReadQword(HKEY_LOCAL_MACHINE, kPath, L"number", 0), 7u);
  EXPECT_TRUE(log.RawLines().empty());
}

TEST_F(SilentConfiguration, RefusesNullTexts) {
  EXPECT_THROW(platform.WriteQword(HKEY_LOCAL_MACHINE, nullptr, L"number", 7), std::invalid_argument);
  EXPECT_THROW(platform.WriteQword(HKEY_LOCAL_MACHINE, kPath, nullptr, 7), std::invalid_argument);
  EXPECT_EQ(platform.ReadQword(HKEY_LOCAL_MACHINE, nullptr, L"number", 9), 9u);
  EXPECT_TRUE(log.RawLines().empty());
}

TEST_F(SilentConfiguration, TellsAWriteThatFails) {
  KUV_IMPORT_HOOK(set, RegSetValueExW);
  set.Answer(
      [](HKEY, const wchar_t*, DWORD, DWORD, const BYTE*, DWORD) -> LSTATUS { return ERROR_ACCESS_DENIED; });
  EXPECT_THROW(platform.WriteQword(HKEY_LOCAL_MACHINE, kPath, L"number", 7), std::runtime_error);
  EXPECT_TRUE(log.RawLines().empty());
}

TEST_F(SilentConfiguration, FallsBackToTheUsualUsernameFormat) {
  EXPECT_EQ(UsernameFormatFromName("another"), UsernameFormat::NTLM);
  EXPECT_TRUE(log.RawLines().empty());
}

TEST_F(SilentConfiguration, LeavesOutWhatIsNoIdentifier) {
  Configure();
  registry.Local().SetTexts(L"ProvidersWhitelist", {L"none", L"{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}"});
  EXPECT_TRUE(EnsureConfigurationLoaded());
  EXPECT_EQ(GetConfiguration()->ProvidersWhitelist.size(), 1u);
  EXPECT_TRUE(log.RawLines().empty());
}

}  // namespace
