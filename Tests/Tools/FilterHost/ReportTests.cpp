#include <gmock/gmock.h>

#include "Tools/FilterHost/HostFixture.h"

namespace {

using KuvTest::HostRun;
using KuvTest::kForeignText;
using KuvTest::kKuvText;
using KuvTest::kPasswordText;
using KuvTest::RunHost;
using KuvTest::RunHostJson;

class FilterHostReport : public KuvTest::FilterHostFixture {
 protected:
  // One whitelisted provider, the smart card provider of Windows, and protected logon and elevation.
  FilterHostReport() {
    Configure();
    registry.Local().SetTexts(L"ProvidersWhitelist", {kForeignText});
    registry.Local().SetDword(L"EnableSmartCards", 1);
    registry.Local().SetDword(L"ElevationProtectionMode", 2);
    providers = folder.Write(L"providers.txt",
                             "{60b78e88-ead8-445c-9cfd-0b87f74ea6cd} PasswordProvider\n"
                             "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418} Kuv\xC3\xA9\n"
                             "{8FD7E19C-3BF7-489B-A72C-846AB3678C96} Smartcard Credential Provider\n"
                             "{11111111-2222-3333-4444-555555555555}\n");
  }

  HostRun Run(std::vector<std::wstring> arguments) const {
    arguments.insert(arguments.end(), {L"--providers", providers});
    return RunHost(WithDll(arguments));
  }

  Json::Value RunJson(std::vector<std::wstring> arguments) const {
    arguments.insert(arguments.end(), {L"--providers", providers});
    return RunHostJson(WithDll(arguments));
  }

  static std::string Heading(const std::string& passed) {
    const std::wstring path = KuvTest::FilterDllPath();
    return "Filter " + std::string{path.begin(), path.end()} + ", every provider passed as " + passed +
           "\n\n";
  }

  std::wstring providers;
};

TEST_F(FilterHostReport, TableHasProvidersAndScenarios) {
  const HostRun run = Run({});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "");
  // clang-format off
  EXPECT_EQ(run.out, Heading("allowed") +
      "Provider                       logon    unlock   change-password  credui   elevation  plap     Identifier\n"
      "PasswordProvider               -        -        -                ENABLED  -          ENABLED  {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}\n"
      "Kuv\xC3\xA9                           ENABLED  ENABLED  ENABLED          -        ENABLED    -        {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}\n"
      "Smartcard Credential Provider  ENABLED  ENABLED  ENABLED          ENABLED  ENABLED    ENABLED  {8FD7E19C-3BF7-489B-A72C-846AB3678C96}\n"
      "(no name)                      ENABLED  ENABLED  ENABLED          ENABLED  ENABLED    ENABLED  {11111111-2222-3333-4444-555555555555}\n"
      "\n"
      "Flags                          0x0      0x0      0x0              0x0      0x100      0x0\n"
      "Filter result                  written  written  written          written  written    written\n");
  // clang-format on
}

TEST_F(FilterHostReport, TableMarksUntouchedScenario) {
  registry.Local().SetDword(L"ElevationProtectionMode", 1);
  const HostRun run = Run({L"--allow", L"0", L"--scenario", L"unlock", L"--scenario", L"elevation"});
  EXPECT_EQ(run.exitCode, 0);
  // clang-format off
  EXPECT_EQ(run.out, Heading("not allowed") +
      "Provider                       unlock     elevation  Identifier\n"
      "PasswordProvider               -          -          {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}\n"
      "Kuv\xC3\xA9                           -          ENABLED    {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}\n"
      "Smartcard Credential Provider  -          ENABLED    {8FD7E19C-3BF7-489B-A72C-846AB3678C96}\n"
      "(no name)                      -          ENABLED    {11111111-2222-3333-4444-555555555555}\n"
      "\n"
      "Flags                          0x0        0x100\n"
      "Filter result                  untouched  written\n");
  // clang-format on
}

// The filter writes the same flags that it was passed. Only the opposite flags reveal that it wrote them.
TEST_F(FilterHostReport, UnchangedButWrittenFlagsAreNotUntouched) {
  providers = folder.Write(L"kuv.txt", "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}\n");
  for (const wchar_t* const allow : {L"0", L"1"}) {
    const Json::Value report = RunJson({L"--scenario", L"logon", L"--scenario", L"plap", L"--allow", allow});
    EXPECT_FALSE(report["scenarios"][0]["untouched"].asBool());
    EXPECT_FALSE(report["scenarios"][1]["untouched"].asBool());
  }
}

TEST_F(FilterHostReport, UntouchedScenarioKeepsPassedFlags) {
  registry.Local().SetDword(L"ElevationProtectionMode", 1);
  for (const bool allow : {false, true}) {
    const Json::Value report = RunJson({L"--scenario", L"logon", L"--allow", allow ? L"1" : L"0"});
    EXPECT_TRUE(report["scenarios"][0]["untouched"].asBool());
    for (const Json::Value& provider : report["providers"]) {
      EXPECT_EQ(provider["enabled"]["logon"], Json::Value{allow});
    }
  }
}

TEST_F(FilterHostReport, EveryScenarioIsUntouchedWithoutKuvProvider) {
  providers = folder.Write(L"none.txt", "{60b78e88-ead8-445c-9cfd-0b87f74ea6cd}\n");
  const Json::Value report = RunJson({});
  EXPECT_FALSE(report["scenarios"].empty());
  for (const Json::Value& scenario : report["scenarios"]) EXPECT_TRUE(scenario["untouched"].asBool());
}

TEST_F(FilterHostReport, FlagsArePassedToFilter) {
  const Json::Value report = RunJson({L"--scenario", L"elevation", L"--flags", L"0"});
  EXPECT_EQ(report["scenarios"][0]["flags"], Json::Value{0});
  EXPECT_TRUE(report["providers"][0]["enabled"]["elevation"].asBool());
  EXPECT_FALSE(report["providers"][1]["enabled"]["elevation"].asBool());
}

TEST_F(FilterHostReport, UsesInstalledProvidersByDefault) {
  Install(kKuvText, L"Kuv");
  Install(kPasswordText, L"Password");
  const HostRun run = RunHost(WithDll({L"--scenario", L"logon"}));
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out,
              ::testing::HasSubstr("\nKuv            ENABLED  {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}\n"));
  EXPECT_THAT(run.out,
              ::testing::HasSubstr("\nPassword       -        {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}\n"));
}

TEST_F(FilterHostReport, NamesHaveNoControlCharacters) {
  Install(kKuvText, L"a\nb\x1B[2J");
  EXPECT_THAT(RunHost(WithDll({L"--scenario", L"logon"})).out,
              ::testing::HasSubstr("\na?b?[2J        ENABLED  {"));
}

TEST_F(FilterHostReport, JsonHasTheSameResults) {
  Json::Value report = RunJson({L"--scenario", L"logon", L"--scenario", L"elevation"});
  const std::wstring path = KuvTest::FilterDllPath();
  EXPECT_EQ(report["filter"], (std::string{path.begin(), path.end()}));
  report.removeMember("filter");
  EXPECT_EQ(report, KuvTest::ParseJson(R"({"allow": true, "providers": [
         {"clsid": "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}", "name": "PasswordProvider",
          "enabled": {"logon": false, "elevation": false}},
         {"clsid": "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}", "name": "Kuv\u00E9",
          "enabled": {"logon": true, "elevation": true}},
         {"clsid": "{8FD7E19C-3BF7-489B-A72C-846AB3678C96}", "name": "Smartcard Credential Provider",
          "enabled": {"logon": true, "elevation": true}},
         {"clsid": "{11111111-2222-3333-4444-555555555555}", "name": "",
          "enabled": {"logon": true, "elevation": true}}], "scenarios": [
         {"name": "logon", "usageScenario": 1, "flags": 0, "result": "0x00000000", "untouched": false},
         {"name": "elevation", "usageScenario": 4, "flags": 256, "result": "0x00000000", "untouched": false}]})"))
      << report;
}

TEST_F(FilterHostReport, JsonIsUtf8) {
  EXPECT_THAT(Run({L"--json"}).out, ::testing::HasSubstr("\"Kuv\xC3\xA9\""));
}

TEST_F(FilterHostReport, RemoteCredentialOfPasswordGoesToKuvProvider) {
  const HostRun run = Run({L"--scenario", L"logon", L"--remote-credential", kPasswordText});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out,
              ::testing::EndsWith(
                  "\n\nA remote credential for {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD} PasswordProvider\n"
                  "goes to {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418} Kuv\xC3\xA9, content unchanged\n"));
}

TEST_F(FilterHostReport, RemoteCredentialCanGoToMissingProvider) {
  registry.Local().SetDword(L"WrapSmartCards", 1);
  EXPECT_THAT(Run({L"--remote-credential", L"{8FD7E19C-3BF7-489B-A72C-846AB3678C96}"}).out,
              ::testing::EndsWith("goes to {C27D40E9-16B3-4A8E-B7F2-094E6D1A35C8}, content unchanged\n"));
}

TEST_F(FilterHostReport, RemoteCredentialOfAllowedProviderStays) {
  EXPECT_THAT(Run({L"--remote-credential", kForeignText}).out,
              ::testing::EndsWith("\nA remote credential for {11111111-2222-3333-4444-555555555555}\n"
                                  "stays with its provider\n"));
}

TEST_F(FilterHostReport, JsonHasTheRemoteCredential) {
  EXPECT_EQ(RunJson({L"--remote-credential", kPasswordText})["remoteCredential"], KuvTest::ParseJson(R"({
      "meantFor": "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}", "result": "0x00000000", "redirected": true,
      "redirectedTo": "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}", "contentUnchanged": true})"));
  EXPECT_EQ(RunJson({L"--remote-credential", kForeignText})["remoteCredential"], KuvTest::ParseJson(R"({
      "meantFor": "{11111111-2222-3333-4444-555555555555}", "result": "0x80004001", "redirected": false})"));
}

TEST_F(FilterHostReport, RejectedRemoteCredentialHasError) {
  KuvTest::ImportHook<decltype(&::CoTaskMemAlloc)> allocate{dll.Get(), "CoTaskMemAlloc"};
  allocate.Answer([](SIZE_T) -> void* { return nullptr; });
  const HostRun run = Run({L"--remote-credential", kPasswordText});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out, ::testing::ContainsRegex("\nis rejected: .*error 0x8007000E"));
}

TEST_F(FilterHostReport, CopyOfARemoteCredentialIsFreed) {
  KuvTest::ImportHook<decltype(&::CoTaskMemAlloc)> allocate{dll.Get(), "CoTaskMemAlloc"};
  KUV_IMPORT_HOOK(release, CoTaskMemFree);
  void* copy = nullptr;
  allocate.Answer([&](SIZE_T size) { return copy = allocate.Original(size); });
  Run({L"--remote-credential", kPasswordText});
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(release.Calls(), (std::vector<std::tuple<void*>>{{copy}}));
}

TEST_F(FilterHostReport, NothingIsWrittenToTheRegistry) {
  KUV_IMPORT_HOOK(setValue, RegSetValueExW);
  KUV_IMPORT_HOOK(createKey, RegCreateKeyExW);
  KuvTest::ImportHook<decltype(&::RegSetValueExW)> filterSetValue{dll.Get(), "RegSetValueExW"};
  KuvTest::ImportHook<decltype(&::RegCreateKeyExW)> filterCreateKey{dll.Get(), "RegCreateKeyExW"};
  Install(kKuvText, L"Kuv");
  const std::size_t setBefore = setValue.CallCount();
  const std::size_t createdBefore = createKey.CallCount();
  ASSERT_NE(setBefore, 0u);
  RunHost(WithDll({L"--log", L"--remote-credential", kPasswordText}));
  EXPECT_EQ(setValue.CallCount(), setBefore);
  EXPECT_EQ(createKey.CallCount(), createdBefore);
  EXPECT_EQ(filterSetValue.CallCount() + filterCreateKey.CallCount(), 0u);
}

}  // namespace
