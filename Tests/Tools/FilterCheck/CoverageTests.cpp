// Which kinds of sign-in require the second factor, from settings in the registry to verdict and exit code.
#include "FilterCheck/Judgment/Coverage.h"

#include <gmock/gmock.h>

#include "FilterCheck/FilterCheck.h"
#include "Tools/FilterCheck/FindingRows.h"
#include "Tools/FilterCheck/RegisteredMachine.h"

namespace {

using namespace KuvTest;
using FilterCheck::Coverage;
using FilterCheck::CoverageState;
using FilterCheck::Finding;
using FilterCheck::kSignIns;
using FilterCheck::Report;
using FilterCheck::Situation;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

const TestKey kSystemPolicies{HKEY_LOCAL_MACHINE,
                              L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Policies\\System"};

constexpr auto kRequired = CoverageState::Required;
constexpr auto kAlternatives = CoverageState::Alternatives;
constexpr auto kOff = CoverageState::Off;
constexpr auto kNoSecondFactor = CoverageState::NoSecondFactor;
constexpr auto kLocked = CoverageState::Locked;

class SecondFactor : public RegisteredMachine {
 protected:
  static Report Check() { return FilterCheck::CheckMachine(FilterCheck::ParseOptions({})); }

  static std::vector<CoverageState> States(const Situation& situation) {
    std::vector<CoverageState> states;
    for (const Coverage& coverage : situation.coverage) states.push_back(coverage.state);
    return states;
  }

  static std::vector<std::string> Ways(const Coverage& coverage) {
    std::vector<std::string> names;
    for (const Tools::Provider& way : coverage.ways) names.push_back(NameOrIdentifier(way));
    return names;
  }

  // Leaves the Kuv smart card provider as the only Kuv provider.
  static void RemoveKuvProvider() {
    ProviderKey(kKuvText).Delete();
    ProviderKey(kKuvSmartCardText).SetText(L"", L"Kuv smart card");
  }
};

// The settings that protect each selection of kinds of sign-in.
struct Protected {
  const char* name;
  std::uint32_t mode;
  std::uint32_t rdpOnly;
  bool kinds[kSignIns.size()];
};
constexpr Protected kSelections[] = {
    {"console and remote", 0, 0, {true, true, false}},   {"remote", 0, 1, {false, true, false}},
    {"elevation", 1, 0, {false, false, true}},           {"all", 2, 0, {true, true, true}},
    {"remote and elevation", 2, 1, {false, true, true}},
};

// A machine on which every protected kind of sign-in has the same state.
struct Machine {
  CoverageState state;
  bool hasKuvProvider;
  bool hasWhitelist;
};
constexpr Machine kMachines[] = {
    {kRequired, true, false},
    {kAlternatives, true, true},
    {kNoSecondFactor, false, true},
    {kLocked, false, false},
};

TEST_F(SecondFactor, HasEveryStateAtEveryKindOfSignIn) {
  for (const Machine& machine : kMachines) {
    if (!machine.hasKuvProvider && ProviderKey(kKuvText).Exists()) RemoveKuvProvider();
    registry.Local().SetTexts(L"ProvidersWhitelist", machine.hasWhitelist
                                                         ? std::vector<std::wstring>{kForeignText}
                                                         : std::vector<std::wstring>{});
    for (const Protected& selection : kSelections) {
      SCOPED_TRACE(std::string{selection.name} + ", state " +
                   std::to_string(static_cast<int>(machine.state)));
      registry.Local().SetDword(L"ElevationProtectionMode", selection.mode);
      registry.Local().SetDword(L"RdpOnly", selection.rdpOnly);
      const Report report = Check();
      for (const FilterCheck::SignIn kind : kSignIns) {
        const Coverage& coverage = report.now.coverage[IndexOf(kind)];
        const bool isProtected = selection.kinds[IndexOf(kind)];
        EXPECT_EQ(coverage.state, isProtected ? machine.state : kOff) << NameOf(kind);
        if (!isProtected) {
          EXPECT_THAT(Ways(coverage), ElementsAre("Vendor", "Password", "Smart card"));
        } else if (machine.hasWhitelist) {
          EXPECT_THAT(Ways(coverage), ElementsAre("Vendor"));
        } else {
          EXPECT_THAT(Ways(coverage), IsEmpty());
        }
      }
    }
  }
}

TEST_F(SecondFactor, IsOffWithoutKuvProvider) {
  ProviderKey(kKuvText).Delete();
  const Report report = Check();
  EXPECT_THAT(States(report.now), ElementsAre(kOff, kOff, kOff));
  EXPECT_EQ(report.now.coverage[0].because.decidedBy, "Kuv provider not installed");
  EXPECT_EQ(
      report.now.verdict.text,
      "The second factor is NOT required at the console, over Remote Desktop and at elevation prompts: "
      "the Kuv credential provider is not installed. Not covered as demanded: console and remote. Found "
      "1 problem.");
  EXPECT_THAT(OnlyFinding(report.now.findings, "provider.kuv-missing").text,
              HasSubstr("so the filter changes nothing and the second factor is not required."));
}

TEST_F(SecondFactor, IsOffWithADisabledKuvProvider) {
  ProviderKey(kKuvText).SetDword(L"Disabled", 0);
  EXPECT_THAT(States(Check().now), ElementsAre(kRequired, kRequired, kOff));
  ProviderKey(kKuvText).SetDword(L"Disabled", 1);
  const Report report = Check();
  EXPECT_FALSE(report.registration.kuvProviderInstalled);
  EXPECT_THAT(States(report.now), ElementsAre(kOff, kOff, kOff));
  OnlyFinding(report.now.findings, "provider.kuv-missing");
}

TEST_F(SecondFactor, IsOffWithMissingSettings) {
  registry.Local().DeleteValue(L"SKey");
  const Report report = Check();
  EXPECT_THAT(States(report.now), ElementsAre(kOff, kOff, kOff));
  EXPECT_THAT(report.now.verdict.text, HasSubstr("at elevation prompts: SKey is not set (default)."));
}

TEST_F(SecondFactor, NamesWhatDecided) {
  registry.Policy().SetDword(L"RdpOnly", 1);
  const Situation now = Check().now;
  const auto because = [&](std::size_t kind) { return TextOf(now.coverage[kind].because); };
  EXPECT_EQ(because(0), "RdpOnly is 1 (policy)");
  EXPECT_EQ(because(1), "ElevationProtectionMode is 0 (default)");
  EXPECT_EQ(because(2), "ElevationProtectionMode is 0 (default)");
  RemoveKuvProvider();
  const Situation locked = Check().now;
  EXPECT_EQ(TextOf(locked.coverage[1].because), "the Kuv credential provider is not installed");
}

TEST_F(SecondFactor, CountsTheWrappedSmartCardAsSecondFactor) {
  ProviderKey(kKuvSmartCardText).SetText(L"", L"Kuv smart card");
  registry.Local().SetDword(L"EnableSmartCards", 1);
  EXPECT_THAT(States(Check().now), ElementsAre(kAlternatives, kAlternatives, kOff));
  EXPECT_THAT(Ways(Check().now.coverage[0]), ElementsAre("Smart card"));
  registry.Local().SetDword(L"WrapSmartCards", 1);
  EXPECT_THAT(States(Check().now), ElementsAre(kRequired, kRequired, kOff));
  // It is also enough if it is the only Kuv provider.
  ProviderKey(kKuvText).Delete();
  EXPECT_THAT(States(Check().now), ElementsAre(kRequired, kRequired, kOff));
}

// The filter also hides its own providers where it does not protect.
TEST_F(SecondFactor, IsLockedIfOnlyKuvProvidersAreInstalled) {
  for (const std::wstring& provider : {kPasswordText, kSmartCardText, kForeignText})
    ProviderKey(provider).Delete();
  registry.Local().SetDword(L"RdpOnly", 1);
  const Report report = Check();
  EXPECT_THAT(States(report.now), ElementsAre(kLocked, kRequired, kLocked));
  EXPECT_THAT(OnlyFinding(report.now.findings, "decision.locked-out").text,
              HasSubstr("at the console and at elevation prompts"));
}

TEST_F(SecondFactor, IsOffIfWindowsDoesNotLoadTheFilter) {
  Entry(kView64).Delete();
  registry.Local().SetTexts(L"ProvidersWhitelist", {kPasswordText});
  const Report report = Check();
  EXPECT_EQ(report.obstacle, FilterCheck::Obstacle::NotLoaded);
  EXPECT_THAT(States(report.now), ElementsAre(kOff, kOff, kOff));
  for (const Coverage& coverage : report.now.coverage) {
    EXPECT_EQ(coverage.because.decidedBy, "filter not loaded");
    EXPECT_THAT(Ways(coverage), ElementsAre("Vendor", "Password", "Smart card"));
  }
  EXPECT_EQ(report.now.verdict.code, FilterCheck::ExitCode::NotCovered);
  EXPECT_THAT(report.now.verdict.text,
              StartsWith("The second factor is NOT required: Windows does not load the filter"));
  EXPECT_THAT(OnlyFinding(report.now.findings, "whitelist.single-factor").text,
              StartsWith("If Windows loaded the filter: "));
}

TEST_F(SecondFactor, WarnsOfTheLockoutThatARegistrationWouldCause) {
  Entry(kView64).Delete();
  RemoveKuvProvider();
  const Finding finding = OnlyFinding(Check().now.findings, "decision.locked-out");
  EXPECT_EQ(finding.severity, kProblem);
  EXPECT_THAT(finding.text, StartsWith("If Windows loaded the filter: The filter hides every provider"));
}

TEST_F(SecondFactor, IsOffIfAPolicyExcludesTheProvider) {
  kSystemPolicies.SetText(L"ExcludedCredentialProviders", kKuvText);
  const Report report = Check();
  EXPECT_EQ(report.obstacle, FilterCheck::Obstacle::ProviderExcluded);
  EXPECT_THAT(States(report.now), ElementsAre(kOff, kOff, kOff));
  EXPECT_EQ(report.now.coverage[1].because.decidedBy, "Kuv provider excluded");
  EXPECT_THAT(report.now.verdict.text, HasSubstr("ExcludedCredentialProviders may hide the Kuv"));
}

// One protected kind of sign-in does not make the others look protected.
TEST_F(SecondFactor, VerdictNamesEveryKindThatIsNotProtected) {
  registry.Local().SetDword(L"ElevationProtectionMode", 2);
  registry.Local().SetDword(L"RdpOnly", 1);
  Situation now = Check().now;
  EXPECT_EQ(now.verdict.text,
            "The second factor is required over Remote Desktop and at elevation prompts. It is NOT required "
            "at the console: RdpOnly is 1 (local setting). Not covered as demanded: console. No warnings or "
            "problems found.");
  EXPECT_EQ(now.verdict.code, FilterCheck::ExitCode::NotCovered);
  registry.Local().SetDword(L"RdpOnly", 0);
  registry.Local().SetDword(L"ElevationProtectionMode", 1);
  now = Check().now;
  EXPECT_EQ(now.verdict.text,
            "The second factor is required at elevation prompts. It is NOT required at the console and over "
            "Remote Desktop: ElevationProtectionMode is 1 (local setting). Not covered as demanded: console "
            "and remote. No warnings or problems found.");
  EXPECT_EQ(now.verdict.code, FilterCheck::ExitCode::NotCovered);
}

TEST_F(SecondFactor, VerdictNamesAlternatives) {
  registry.Local().SetTexts(L"ProvidersWhitelist", {kForeignText, kSmartCardText});
  EXPECT_EQ(Check().now.verdict.text,
            "The second factor is required at the console and over Remote Desktop unless the user selects "
            "Vendor or Smart card. It is NOT required at elevation prompts: ElevationProtectionMode is 0 "
            "(default). No warnings or problems found.");
}

TEST_F(SecondFactor, VerdictNamesLockout) {
  RemoveKuvProvider();
  registry.Local().SetDword(L"RdpOnly", 1);
  EXPECT_THAT(Check().now.verdict.text,
              HasSubstr("NO ONE CAN SIGN IN over Remote Desktop: the Kuv credential provider is not "
                        "installed. Not covered as demanded: console and remote."));
  registry.Local().SetTexts(L"ProvidersWhitelist", {kForeignText});
  EXPECT_THAT(Check().now.verdict.text,
              HasSubstr("It is NOT ASKED FOR over Remote Desktop: the Kuv credential provider is not "
                        "installed."));
}

struct WayRow {
  const char* identifier;
  const char* asks;
  bool singleFactor;
};

TEST_F(SecondFactor, ReportsEveryWayAround) {
  for (const WayRow& row : std::vector<WayRow>{
           {"{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}", "a password", true},
           {"{6F45DC1E-5384-457A-BC13-2CD81B0D28ED}", "a password", true},
           {"{2135F72A-90B5-4ED3-A7F1-8BB705AC276A}", "a password", true},
           {"{F8A0B131-5F68-486C-8040-7E8FC3C85BB6}", "a password", true},
           {"{C5D7540A-CD51-453B-B22B-05305BA03F07}", "a password", true},
           {"{CB82EA12-9F71-446D-89E1-8D0924E1256E}", "a password", true},
           {"{D6886603-9D2F-4EB2-B667-1971041FA96B}", "something the user has", false},
           {"{F8A1793B-7873-4046-B2A7-1F318747F427}", "something the user has", false},
           {"{8FD7E19C-3BF7-489B-A72C-846AB3678C96}", "something the user has", false},
           {"{11111111-2222-3333-4444-555555555555}", "unknown credentials", false},
       }) {
    SCOPED_TRACE(row.identifier);
    const std::wstring identifier = Wide(row.identifier);
    ProviderKey(identifier).SetText(L"", L"Some provider");
    registry.Local().SetTexts(L"ProvidersWhitelist", {identifier});
    const Report report = Check();
    const Finding finding = OnlyFinding(
        report.now.findings, row.singleFactor ? "whitelist.single-factor" : "decision.alternative");
    EXPECT_EQ(finding.severity, row.singleFactor ? kWarning : kNote);
    EXPECT_THAT(finding.subject, HasSubstr(row.identifier));
    EXPECT_THAT(finding.text, AllOf(HasSubstr(" remains at the console and over Remote Desktop. "),
                                    HasSubstr("It asks for " + std::string{row.asks} + ",")));
    EXPECT_EQ(report.now.verdict.code,
              row.singleFactor ? FilterCheck::ExitCode::CoveredWithFindings : FilterCheck::ExitCode::Covered);
  }
}

TEST_F(SecondFactor, ReportsNoWayAroundWhereNothingIsProtected) {
  registry.Local().SetTexts(L"ProvidersWhitelist", {kPasswordText});
  registry.Local().DeleteValue(L"Host");
  EXPECT_THAT(Ids(Check().now.findings), ElementsAre("setting.missing", "evidence.no-log"));
}

TEST_F(SecondFactor, WarnsInSafeModeUnlessTheFilterAppliesThereToo) {
  KUV_IMPORT_HOOK(metrics, GetSystemMetrics);
  metrics.Answer([](int index) { return index == SM_CLEANBOOT ? 1 : 0; });
  EXPECT_EQ(OnlyFinding(Check().now.findings, "platform.safe-mode").severity, kWarning);
  ProviderKey(L"").SetDword(L"ProhibitFallbacks", 0);
  EXPECT_THAT(Ids(Check().now.findings), Contains("platform.safe-mode"));
  ProviderKey(L"").SetDword(L"ProhibitFallbacks", 1);
  EXPECT_THAT(Ids(Check().now.findings), Not(Contains("platform.safe-mode")));
}

TEST_F(SecondFactor, IsOffInSafeMode) {
  KUV_IMPORT_HOOK(metrics, GetSystemMetrics);
  metrics.Answer([](int index) { return index == SM_CLEANBOOT ? 2 : 0; });
  const Report report = Check();
  EXPECT_EQ(report.obstacle, FilterCheck::Obstacle::SafeMode);
  EXPECT_THAT(States(report.now), ElementsAre(kOff, kOff, kOff));
  EXPECT_EQ(report.now.coverage[2].because.decidedBy, "safe mode");
  EXPECT_EQ(report.now.verdict.code, FilterCheck::ExitCode::NotCovered);
  EXPECT_THAT(report.now.verdict.text,
              StartsWith("The second factor is NOT required now: Windows runs in safe mode"));
}

TEST_F(SecondFactor, IsOffIfTheOnlyKuvProviderIsExcluded) {
  RemoveKuvProvider();
  registry.Local().SetDword(L"EnableSmartCards", 1);
  registry.Local().SetDword(L"WrapSmartCards", 1);
  EXPECT_THAT(States(Check().now), ElementsAre(kRequired, kRequired, kOff));
  TestKey{HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Policies\\System"}.SetText(
      L"ExcludedCredentialProviders", kKuvSmartCardText);
  const Report report = Check();
  EXPECT_THAT(States(report.now), ElementsAre(kOff, kOff, kOff));
  // The filter still hides the others.
  EXPECT_THAT(Ways(report.now.coverage[0]), IsEmpty());
}

TEST_F(SecondFactor, SaysThatAFilterThatIsNotLoadedDoesNotHideTheDefaultProvider) {
  TestKey{HKEY_LOCAL_MACHINE, L"SOFTWARE\\Policies\\Microsoft\\Windows\\System"}.SetText(
      L"DefaultCredentialProvider", kPasswordText);
  const auto text = [] { return OnlyFinding(Check().now.findings, "platform.default-provider-hidden").text; };
  EXPECT_THAT(text(), StartsWith("Windows is set to select"));
  Entry(kView64).Delete();
  EXPECT_THAT(text(), StartsWith("If Windows loaded the filter: Windows"));
}

// The log says that the console was not protected.
TEST_F(SecondFactor, WarnsIfTheLogShowsAnotherDecision) {
  ::CreateDirectoryW(appData.Path(L"Kuvant").c_str(), nullptr);
  WriteFileBytes(appData.Path(L"Kuvant\\kuv.log"),
                 "01/02/26 03:04:05 [1](2) [Info] Local login session\r\n"
                 "01/02/26 03:04:05 [1](2) [Info] Disabling Kuv Credential Provider\r\n");
  const Report report = Check();
  const Finding finding = OnlyFinding(report.now.findings, "evidence.differs");
  EXPECT_EQ(finding.severity, kWarning);
  EXPECT_THAT(finding.text, HasSubstr("2026-01-02 03:04:05, was \"unprotected\""));
  EXPECT_EQ(report.now.verdict.code, FilterCheck::ExitCode::CoveredWithFindings);
  kSystemPolicies.SetText(L"ExcludedCredentialProviders", kKuvText);
  EXPECT_THAT(Ids(Check().now.findings), Contains("evidence.differs"));
  Entry(kView64).Delete();
  EXPECT_THAT(Ids(Check().now.findings), Not(Contains("evidence.differs")));
}

TEST_F(SecondFactor, ComparesTheLogWithTheCurrentSettingsAlsoInAWhatIfSituation) {
  ::CreateDirectoryW(appData.Path(L"Kuvant").c_str(), nullptr);
  WriteFileBytes(appData.Path(L"Kuvant\\kuv.log"),
                 "01/02/26 03:04:05 [1](2) [Info] Local login session\r\n"
                 "01/02/26 03:04:05 [1](2) [Info] Usage scenario 1/CPUS_LOGON supported\r\n");
  const Report report = FilterCheck::CheckMachine(FilterCheck::ParseOptions({L"--what-if", L"RdpOnly=1"}));
  EXPECT_THAT(Ids(report.whatIf->findings), Not(Contains("evidence.differs")));
}

TEST_F(SecondFactor, ComparesTheLogWithElevationPromptsThatListAdministrators) {
  registry.Local().SetDword(L"ElevationProtectionMode", 2);
  ::CreateDirectoryW(appData.Path(L"Kuvant").c_str(), nullptr);
  WriteFileBytes(appData.Path(L"Kuvant\\kuv.log"),
                 "01/02/26 03:04:05 [1](2) [Info] Usage scenario 4/CPUS_CREDUI supported\r\n");
  EXPECT_THAT(Ids(Check().now.findings), Not(Contains("evidence.differs")));
  registry.Local().SetDword(L"ElevationProtectionMode", 0);
  EXPECT_THAT(Ids(Check().now.findings), Contains("evidence.differs"));
}

TEST_F(SecondFactor, ExplainsAFilterThatActsWithTheSmartCardProviderAlone) {
  RemoveKuvProvider();
  const Report report = Check();
  EXPECT_THAT(Ids(report.now.findings),
              ElementsAre("provider.kuv-missing", "decision.locked-out", "evidence.no-log"));
  EXPECT_THAT(report.now.findings[0].text,
              AllOf(HasSubstr("hides all other providers"), Not(HasSubstr("changes nothing"))));
}

}  // namespace
