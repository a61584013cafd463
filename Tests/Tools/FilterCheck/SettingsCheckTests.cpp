// Stored values, effective values and their sources. Reading them changes nothing and reveals no secret.
#include <gmock/gmock.h>

#include "Common/PlainText.h"
#include "Common/ToolError.h"
#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/Logging/LogFront.h"
#include "Tools/FilterCheck/SettingsFixture.h"

namespace {

using namespace KuvTest;
using FilterCheck::Examine;
using FilterCheck::ExamineWhatIf;
using FilterCheck::FindSetting;
using FilterCheck::SettingState;
using FilterCheck::Situation;
using FilterCheck::Source;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using Tools::PlainText;

class SettingsCheck : public SettingsFixture {
 protected:
  static void ExpectState(const char* name, const char* effective, Source source) {
    const Situation situation = Examine();
    EXPECT_EQ(StateOf(situation, name).effective, effective) << name;
    EXPECT_EQ(StateOf(situation, name).source, source) << name;
  }
};

TEST_F(SettingsCheck, ListsSettingsInTableOrder) {
  const Situation situation = Examine();
  ASSERT_EQ(situation.settings.size(), FilterCheck::AllSettings().size());
  for (std::size_t i = 0; i < situation.settings.size(); ++i)
    EXPECT_EQ(situation.settings[i].setting, &FilterCheck::AllSettings()[i]);
}

TEST_F(SettingsCheck, ReadsStoredTypeAndSize) {
  registry.Local().SetDword(L"RdpOnly", 7);
  registry.Policy().SetBytes(L"RdpOnly", REG_QWORD, "\x2\0\0\0\x1\0\0\0", 8);
  const Situation situation = Examine();
  const SettingState& state = StateOf(situation, "RdpOnly");
  ASSERT_TRUE(state.local);
  EXPECT_EQ(state.local->type, REG_DWORD);
  EXPECT_EQ(state.local->bytes, 4u);
  EXPECT_EQ(state.local->shown, "7");
  ASSERT_TRUE(state.policy);
  EXPECT_EQ(state.policy->type, REG_QWORD);
  EXPECT_EQ(state.policy->bytes, 8u);
  EXPECT_EQ(state.policy->shown, "4294967298");
  EXPECT_FALSE(StateOf(situation, "Debug").local);
  EXPECT_FALSE(StateOf(situation, "Debug").policy);
}

TEST_F(SettingsCheck, FormatsEveryType) {
  struct Row {
    DWORD type;
    std::wstring units;
    std::size_t bytes;
    const char* shown;
  };
  const std::wstring list = std::wstring{L"one"} + L'\0' + L"two" + L'\0' + L'\0' + L"three" + L'\0';
  for (const Row& row : std::vector<Row>{
           {REG_SZ, L"text", 8, "text"},
           {REG_EXPAND_SZ, std::wstring{L"%a%"} + L'\0', 8, "%a%"},
           {REG_SZ, L"", 0, ""},
           {REG_MULTI_SZ, list, list.size() * 2, "one, two"},
           {REG_DWORD, L"\x1\x2", 4, "131073"},
           {REG_DWORD, L"\x1\x2", 2, "01 00"},
           {REG_QWORD, L"\x1\x2", 4, "01 00 02 00"},
           {REG_BINARY, std::wstring(10, L'\xABCD'), 20,
            "CD AB CD AB CD AB CD AB CD AB CD AB CD AB CD AB ..."},
           {99, L"\xFF", 1, "FF"},
       }) {
    const std::wstring data = row.units + L"\xFFFF";
    registry.Local().SetBytes(L"HttpProxyHost", row.type, data.data(), row.bytes);
    const Situation situation = Examine();
    EXPECT_EQ(StateOf(situation, "HttpProxyHost").local->shown, row.shown);
    EXPECT_EQ(StateOf(situation, "HttpProxyHost").local->bytes, row.bytes);
  }
}

TEST_F(SettingsCheck, ReadsSourceOfValues) {
  ExpectState("Host", "auth.kuv.example:443", Source::Local);
  ExpectState("FailOpen", "1", Source::Default);
  registry.Local().SetDword(L"FailOpen", 1);
  ExpectState("FailOpen", "1", Source::Local);
  registry.Policy().SetDword(L"FailOpen", 1);
  ExpectState("FailOpen", "1", Source::Policy);
  registry.Policy().SetText(L"FailOpen", L"0");
  ExpectState("FailOpen", "1", Source::Local);
  registry.Policy().SetText(L"Host", L"Policy.Example:1");
  ExpectState("Host", "policy.example:1", Source::Policy);
  registry.Policy().SetText(L"Host", L"");
  ExpectState("Host", "not set", Source::Policy);
}

TEST_F(SettingsCheck, ReadsSourceOfNumbersThatAreReadEachTime) {
  const std::uint16_t two = 2;
  registry.Local().SetDword(L"ElevationProtectionMode", 1);
  registry.Policy().SetBytes(L"ElevationProtectionMode", REG_DWORD, &two, sizeof(two));
  ExpectState("ElevationProtectionMode", "1", Source::Local);
  registry.Policy().SetDword(L"ElevationProtectionMode", 3);
  ExpectState("ElevationProtectionMode", "0", Source::Policy);
  // The record accepts the short number.
  registry.Policy().SetBytes(L"AutoPush", REG_DWORD, &two, sizeof(two));
  ExpectState("AutoPush", "1", Source::Policy);
}

TEST_F(SettingsCheck, IgnoresLogLevelZero) {
  registry.Policy().SetDword(L"Debug", 0);
  ExpectState("Debug", "0", Source::Default);
  registry.Local().SetDword(L"Debug", 9);
  ExpectState("Debug", "2", Source::Local);
  registry.Policy().SetDword(L"Debug", 1);
  ExpectState("Debug", "1", Source::Policy);
}

TEST_F(SettingsCheck, IgnoresLocalOfflineUsersIfPolicyKeyExists) {
  registry.Local().SetDword(L"OfflineMaxUsers", 9);
  ExpectState("OfflineMaxUsers", "5", Source::Default);
  registry.Policy().Delete();
  ExpectState("OfflineMaxUsers", "9", Source::Local);
}

TEST_F(SettingsCheck, ReadsEffectiveWhitelist) {
  registry.Local().SetTexts(L"ProvidersWhitelist", {kPasswordText});
  ExpectState("ProvidersWhitelist", "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}", Source::Local);
  registry.Policy().SetTexts(L"ProvidersWhitelist", {kForeignText, L"nonsense", kPasswordText});
  ExpectState("ProvidersWhitelist",
              "{11111111-2222-3333-4444-555555555555}, {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}",
              Source::Policy);
  registry.Policy().SetTexts(L"ProvidersWhitelist", {});
  ExpectState("ProvidersWhitelist", "none", Source::Policy);
}

TEST_F(SettingsCheck, UsesDefaultsWithoutKeys) {
  registry.Local().Delete();
  registry.Policy().Delete();
  const Situation situation = Examine();
  EXPECT_THAT(IdsOf(situation), ElementsAre("setting.missing", "setting.missing", "setting.missing"));
  for (const SettingState& state : situation.settings) {
    EXPECT_EQ(state.effective, state.setting->byDefault);
    EXPECT_EQ(state.source, Source::Default);
  }
}

TEST_F(SettingsCheck, WritesNothing) {
  registry.Local().SetDword(L"Debug", 2);
  registry.Local().SetDword(L"LogFileMaxSizeMB", 1);
  registry.Local().SetDword(L"LogFileMaxCount", 1);
  const std::string before = Snapshot();
  Examine();
  EXPECT_EQ(Snapshot(), before);
  EXPECT_THAT(appData.Names(), IsEmpty());
  EXPECT_EQ(g_logSystem, nullptr);
}

TEST_F(SettingsCheck, WipesSecret) {
  Examine();
  EXPECT_EQ(GetConfiguration()->SKey, "");
}

// In every form and place.
TEST_F(SettingsCheck, DoesNotShowSecret) {
  const std::wstring secret = L"Hidden-4711";
  const std::vector<std::function<void(const TestKey&)>> ways{
      [&](const TestKey& key) { key.SetText(L"SKey", secret); },
      [&](const TestKey& key) { key.SetBytes(L"SKey", REG_SZ, secret.data(), secret.size() * 2); },
      [&](const TestKey& key) { key.SetBytes(L"SKey", REG_EXPAND_SZ, secret.data(), secret.size() * 2); },
      [&](const TestKey& key) { key.SetBytes(L"SKey", REG_BINARY, secret.data(), secret.size() * 2); },
      [&](const TestKey& key) { key.SetTexts(L"SKey", {secret}); },
      [&](const TestKey& key) { key.SetText(L"SKey", secret + std::wstring(1100, L'x')); },
      [&](const TestKey& key) { key.SetText(L"skey", secret); },
      [&](const TestKey& key) { key.SetText(L"SKeyy", secret); },
  };
  for (const TestKey& key : {registry.Local(), registry.Policy()}) {
    for (std::size_t i = 0; i < ways.size(); ++i) {
      SCOPED_TRACE(i);
      ways[i](key);
      for (const Situation& situation :
           {Examine(), ExamineWhatIf(std::vector{FilterCheck::WhatIfSetting{FindSetting("SKey"), secret}})}) {
        const std::string texts = Describe(situation);
        EXPECT_THAT(texts, Not(HasSubstr("Hidden")));
        EXPECT_THAT(texts, Not(HasSubstr("4711")));
        EXPECT_THAT(texts, Not(HasSubstr("48 00 69 00")));
      }
    }
  }
}

TEST_F(SettingsCheck, ShowsOnlyWhetherSecretIsSet) {
  const Situation set = Examine();
  EXPECT_EQ(StateOf(set, "SKey").effective, "set");
  EXPECT_EQ(StateOf(set, "SKey").local->shown, "set");
  registry.Local().SetText(L"SKey", L"");
  const Situation empty = Examine();
  EXPECT_EQ(StateOf(empty, "SKey").effective, "not set");
  EXPECT_EQ(StateOf(empty, "SKey").local->shown, "empty");
}

TEST_F(SettingsCheck, ThrowsIfKeyCannotBeRead) {
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  open.Answer([&](HKEY root, const char* path, DWORD options, REGSAM access, HKEY* key) -> LSTATUS {
    if (std::string{path} == "Software\\Kuvant\\KuvCredProv" && access == KEY_QUERY_VALUE)
      return ERROR_ACCESS_DENIED;
    return open.Original(root, path, options, access, key);
  });
  try {
    Examine();
    ADD_FAILURE() << "nothing was thrown";
  } catch (const Tools::ToolError& error) {
    EXPECT_THAT(error.what(), HasSubstr("cannot read HKLM\\Software\\Kuvant\\KuvCredProv"));
    EXPECT_THAT(error.what(), HasSubstr("(error 5); run KuvFilterCheck as an administrator"));
  }
}

// A failure here does not mean that the logon process fails, so it is not reported as a decision.
TEST_F(SettingsCheck, FailsIfTheDecisionDoesWithCompleteSettings) {
  registry.Local().SetDword(L"EnableSmartCards", 1);
  KUV_IMPORT_HOOK(version, VerifyVersionInfoW);
  version.Answer([](auto...) -> BOOL { throw std::runtime_error{"sample"}; });
  try {
    Examine();
    ADD_FAILURE() << "nothing was thrown";
  } catch (const Tools::ToolError& error) {
    EXPECT_STREQ(error.what(), "cannot evaluate the settings: internal error");
  }
}

TEST(PlainTexts, ReplaceControlCharacters) {
  EXPECT_EQ(PlainText(std::wstring{L"a\r\n\t\x1b[31mb\x7f\x9b"}), "a???\?[31mb??");
  EXPECT_EQ(PlainText(std::wstring{L"\x202E\x2066\x200F\x061C\xFEFF\x2028"}), "??????");
  EXPECT_EQ(PlainText(std::wstring{L"\x00e4\x20AC"}), "\xC3\xA4\xE2\x82\xAC");
  EXPECT_EQ(PlainText(std::string{"plain"}), "plain");
  EXPECT_EQ(PlainText(std::string{}), "");
  EXPECT_EQ(Tools::PlainUtf8(std::string{"\xC3\xA4\0\x1B\xE2\x80\xAE.", 8}), "\xC3\xA4???.");
  EXPECT_EQ(PlainText(std::wstring(1101, L'a')), std::string(1100, 'a') + "...");
  EXPECT_EQ(PlainText(std::wstring(1100, L'a')), std::string(1100, 'a'));
}

}  // namespace
