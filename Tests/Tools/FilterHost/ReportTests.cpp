#include <gmock/gmock.h>

#include "Tools/FilterHost/HostFixture.h"

namespace {

using KuvTest::HostRun;
using KuvTest::kForeignProvider;
using KuvTest::kKuvProvider;
using KuvTest::kPasswordProvider;
using KuvTest::RunHost;
using KuvTest::RunHostJson;

class FilterHostReport : public KuvTest::FilterHostFixture {
 protected:
  // One whitelisted provider, the platform's smart cards, elevation protected as well as logon.
  FilterHostReport() {
    Configure();
    registry.Local().SetTexts(L"ProvidersWhitelist", {kForeignProvider});
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
    return "Filter " + std::string{path.begin(), path.end()} + ", every provider passed in as " + passed +
           "\n\n";
  }

  std::wstring providers;
};

TEST_F(FilterHostReport, TableHasARowForEachProviderAndAColumnForEachScenario) {
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
      "Filter's answer                written  written  written          written  written    written\n");
  // clang-format on
}

TEST_F(FilterHostReport, TableMarksAnUntouchedScenario) {
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
      "Filter's answer                untouched  written\n");
  // clang-format on
}

// Every provider comes out as it went in, and yet the filter wrote: only the opposite question shows it.
TEST_F(FilterHostReport, WrittenFlagsThatEqualThePassedOnesAreNotUntouched) {
  providers = folder.Write(L"kuv.txt", "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}\n");
  for (const wchar_t* const allow : {L"0", L"1"}) {
    const Json::Value report = RunJson({L"--scenario", L"logon", L"--scenario", L"plap", L"--allow", allow});
    EXPECT_FALSE(report["scenarios"][0]["untouched"].asBool());
    EXPECT_FALSE(report["scenarios"][1]["untouched"].asBool());
  }
}

TEST_F(FilterHostReport, UntouchedScenarioShowsWhatWasPassedIn) {
  registry.Local().SetDword(L"ElevationProtectionMode", 1);
  for (const bool allow : {false, true}) {
    const Json::Value report = RunJson({L"--scenario", L"logon", L"--allow", allow ? L"1" : L"0"});
    EXPECT_TRUE(report["scenarios"][0]["untouched"].asBool());
    for (const Json::Value& provider : report["providers"]) {
      EXPECT_EQ(provider["enabled"]["logon"], Json::Value{allow});
    }
  }
}

TEST_F(FilterHostReport, WithoutTheKuvProviderNothingIsTouched) {
  providers = folder.Write(L"none.txt", "{60b78e88-ead8-445c-9cfd-0b87f74ea6cd}\n");
  const Json::Value report = RunJson({});
  EXPECT_FALSE(report["scenarios"].empty());
  for (const Json::Value& scenario : report["scenarios"]) EXPECT_TRUE(scenario["untouched"].asBool());
}

TEST_F(FilterHostReport, FlagsReachTheFilter) {
  const Json::Value report = RunJson({L"--scenario", L"elevation", L"--flags", L"0"});
  EXPECT_EQ(report["scenarios"][0]["flags"], Json::Value{0});
  EXPECT_TRUE(report["providers"][0]["enabled"]["elevation"].asBool());
  EXPECT_FALSE(report["providers"][1]["enabled"]["elevation"].asBool());
}

TEST_F(FilterHostReport, AsksTheInstalledProviders) {
  Install(kKuvProvider, L"Kuv");
  Install(kPasswordProvider, L"Password");
  const HostRun run = RunHost(WithDll({L"--scenario", L"logon"}));
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out,
              ::testing::HasSubstr("\nKuv              ENABLED  {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}\n"));
  EXPECT_THAT(run.out,
              ::testing::HasSubstr("\nPassword         -        {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}\n"));
}

TEST_F(FilterHostReport, NamesKeepToTheirLine) {
  Install(kKuvProvider, L"a\nb\x1B[2J");
  EXPECT_THAT(RunHost(WithDll({L"--scenario", L"logon"})).out,
              ::testing::HasSubstr("\na?b?[2J          ENABLED  {"));
}

TEST_F(FilterHostReport, JsonTellsTheSameFacts) {
  const Json::Value report = RunJson({L"--scenario", L"logon", L"--scenario", L"elevation"});
  Json::Value expected;
  const std::wstring path = KuvTest::FilterDllPath();
  expected["filter"] = std::string{path.begin(), path.end()};
  expected["allow"] = true;
  const auto row = [&](const char* clsid, const char* name, bool enabled) {
    Json::Value provider;
    provider["clsid"] = clsid;
    provider["name"] = name;
    provider["enabled"]["logon"] = enabled;
    provider["enabled"]["elevation"] = enabled;
    expected["providers"].append(provider);
  };
  row("{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}", "PasswordProvider", false);
  row("{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}", "Kuv\xC3\xA9", true);
  row("{8FD7E19C-3BF7-489B-A72C-846AB3678C96}", "Smartcard Credential Provider", true);
  row("{11111111-2222-3333-4444-555555555555}", "", true);
  const auto scenario = [&](const char* name, int usage, int flags) {
    Json::Value value;
    value["name"] = name;
    value["usageScenario"] = usage;
    value["flags"] = flags;
    value["result"] = "0x00000000";
    value["untouched"] = false;
    expected["scenarios"].append(value);
  };
  scenario("logon", 1, 0);
  scenario("elevation", 4, 256);
  EXPECT_EQ(report, expected) << report;
}

TEST_F(FilterHostReport, JsonIsUtf8) {
  EXPECT_THAT(Run({L"--json"}).out, ::testing::HasSubstr("\"Kuv\xC3\xA9\""));
}

TEST_F(FilterHostReport, RemoteCredentialOfAPasswordGoesToTheKuvProvider) {
  const HostRun run = Run({L"--scenario", L"logon", L"--remote-credential", kPasswordProvider});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out,
              ::testing::EndsWith(
                  "\n\nA remote credential for {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD} PasswordProvider\n"
                  "goes to {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418} Kuv\xC3\xA9, content unchanged\n"));
}

TEST_F(FilterHostReport, RemoteCredentialGoesToAProviderThatIsNotInstalled) {
  registry.Local().SetDword(L"WrapSmartCards", 1);
  EXPECT_THAT(Run({L"--remote-credential", L"{8FD7E19C-3BF7-489B-A72C-846AB3678C96}"}).out,
              ::testing::EndsWith("goes to {C27D40E9-16B3-4A8E-B7F2-094E6D1A35C8}, content unchanged\n"));
}

TEST_F(FilterHostReport, RemoteCredentialOfAnAllowedProviderStays) {
  EXPECT_THAT(Run({L"--remote-credential", kForeignProvider}).out,
              ::testing::EndsWith("\nA remote credential for {11111111-2222-3333-4444-555555555555}\n"
                                  "goes to its own provider\n"));
}

TEST_F(FilterHostReport, JsonTellsOfARemoteCredential) {
  const Json::Value redirected = RunJson({L"--remote-credential", kPasswordProvider})["remoteCredential"];
  Json::Value expected;
  expected["meantFor"] = "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}";
  expected["result"] = "0x00000000";
  expected["redirected"] = true;
  expected["redirectedTo"] = "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}";
  expected["contentUnchanged"] = true;
  EXPECT_EQ(redirected, expected);

  const Json::Value kept = RunJson({L"--remote-credential", kForeignProvider})["remoteCredential"];
  expected.clear();
  expected["meantFor"] = "{11111111-2222-3333-4444-555555555555}";
  expected["result"] = "0x80004001";
  expected["redirected"] = false;
  EXPECT_EQ(kept, expected);
}

TEST_F(FilterHostReport, RefusedRemoteCredentialTellsTheError) {
  KuvTest::ImportHook<decltype(&::CoTaskMemAlloc)> allocate{dll.Get(), "CoTaskMemAlloc"};
  allocate.Answer([](SIZE_T) -> void* { return nullptr; });
  const HostRun run = Run({L"--remote-credential", kPasswordProvider});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out, ::testing::ContainsRegex("\nis refused: .*error 0x8007000E"));
}

TEST_F(FilterHostReport, CopyOfARemoteCredentialIsFreed) {
  KuvTest::ImportHook<decltype(&::CoTaskMemAlloc)> allocate{dll.Get(), "CoTaskMemAlloc"};
  KUV_IMPORT_HOOK(release, CoTaskMemFree);
  void* copy = nullptr;
  allocate.Answer([&](SIZE_T size) { return copy = allocate.Original(size); });
  Run({L"--remote-credential", kPasswordProvider});
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(release.Calls(), (std::vector<std::tuple<void*>>{{copy}}));
}

TEST_F(FilterHostReport, NothingIsWrittenToTheRegistry) {
  KUV_IMPORT_HOOK(setValue, RegSetValueExW);
  KUV_IMPORT_HOOK(createKey, RegCreateKeyExW);
  KuvTest::ImportHook<decltype(&::RegSetValueExW)> filterSetValue{dll.Get(), "RegSetValueExW"};
  KuvTest::ImportHook<decltype(&::RegCreateKeyExW)> filterCreateKey{dll.Get(), "RegCreateKeyExW"};
  Install(kKuvProvider, L"Kuv");
  const std::size_t setBefore = setValue.CallCount();
  const std::size_t createdBefore = createKey.CallCount();
  ASSERT_NE(setBefore, 0u);
  RunHost(WithDll({L"--log", L"--remote-credential", kPasswordProvider}));
  EXPECT_EQ(setValue.CallCount(), setBefore);
  EXPECT_EQ(createKey.CallCount(), createdBefore);
  EXPECT_EQ(filterSetValue.CallCount() + filterCreateKey.CallCount(), 0u);
}

}  // namespace
