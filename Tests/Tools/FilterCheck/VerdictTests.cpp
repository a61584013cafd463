#include "FilterCheck/Judgment/Verdict.h"

#include <gmock/gmock.h>

#include "FilterCheck/Judgment/RegistrationFindings.h"
#include "Tools/FilterCheck/ExampleReport.h"

namespace {

using FilterCheck::Demand;
using FilterCheck::ExitCode;
using FilterCheck::Findings;
using FilterCheck::JudgeRegistration;
using FilterCheck::Report;
using FilterCheck::SettingState;
using FilterCheck::Severity;
using FilterCheck::Source;
using KuvTest::Conclude;
using KuvTest::ExampleReport;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kLogonOnly[] =
    "The second factor is required at the console and over Remote Desktop. It is NOT required at elevation "
    "prompts: ElevationProtectionMode is 0 (default). ";

void ExpectVerdict(Report& report, ExitCode code, const std::string& text) {
  Conclude(report);
  EXPECT_EQ(report.now.verdict.code, code);
  EXPECT_EQ(report.now.verdict.text, kLogonOnly + text);
}

TEST(Verdict, IsCoveredWithoutFindingsOrWithNotesOnly) {
  Report report = ExampleReport();
  ExpectVerdict(report, ExitCode::Covered, "No warnings or problems found.");
  report.now.findings = {{"a.note", Severity::Note, "", "", ""}};
  ExpectVerdict(report, ExitCode::Covered, "No warnings or problems found.");
}

TEST(Verdict, CountsWarningsAndProblems) {
  for (const Severity severity : {Severity::Warning, Severity::Problem}) {
    Report report = ExampleReport();
    report.now.findings = {{"a.b", severity, "", "", ""}, {"a.b", severity, "", "", ""}};
    ExpectVerdict(report, ExitCode::CoveredWithFindings,
                  severity == Severity::Warning ? "Found 2 warnings." : "Found 2 problems.");
  }
  Report report = ExampleReport();
  report.now.findings = {{"a.b", Severity::Problem, "", "", ""}, {"a.b", Severity::Warning, "", "", ""}};
  ExpectVerdict(report, ExitCode::CoveredWithFindings, "Found 1 problem and 1 warning.");
}

// The console and Remote Desktop are protected, elevation prompts are not.
TEST(Verdict, DependsOnTheDemand) {
  for (int kinds = 1; kinds < 8; ++kinds) {
    SCOPED_TRACE(kinds);
    Report report = ExampleReport();
    report.demand = {(kinds & 1) != 0, (kinds & 2) != 0, (kinds & 4) != 0};
    const bool covered = (kinds & 4) == 0;
    ExpectVerdict(report, covered ? ExitCode::Covered : ExitCode::NotCovered,
                  (covered ? "" : "Not covered as demanded: elevation. ") +
                      std::string{"No warnings or problems found."});
  }
}

// Remote Desktop only: the console is not protected.
TEST(Verdict, FulfillsTheDemandForRemoteDesktopOnly) {
  Report report = KuvTest::ExampleWhatIf();
  for (const bool remoteOnly : {true, false}) {
    report.demand = remoteOnly ? Demand{false, true, false} : Demand{true, true, false};
    Conclude(report);
    EXPECT_EQ(report.whatIf->verdict.code, remoteOnly ? ExitCode::Covered : ExitCode::NotCovered);
    EXPECT_EQ(report.now.verdict.code, ExitCode::Covered);
  }
}

TEST(Verdict, IsNotCoveredIfTheFilterCannotBeLoaded) {
  for (int fault = 0; fault < 4; ++fault) {
    SCOPED_TRACE(fault);
    Report report = ExampleReport();
    FilterCheck::RegisteredFilter& filter = report.registration.filter[0];
    if (fault == 0) filter.module.reset();
    if (fault == 1) filter.inFilterList = false;
    if (fault == 2) filter.moduleExists = false;
    if (fault == 3) filter.architectureFits = false;
    Conclude(report);
    EXPECT_EQ(report.now.verdict.code, ExitCode::NotCovered);
  }
}

TEST(Verdict, IsAboutTheWhatIfSituation) {
  const Report report = KuvTest::ExampleWhatIf();
  EXPECT_EQ(&report.Subject(), &*report.whatIf);
  const Report today = ExampleReport();
  EXPECT_EQ(&today.Subject(), &today.now);
}

TEST(DefaultProvider, WarnsIfTheFilterHidesIt) {
  Report report = ExampleReport();
  report.registration.defaultProvider = "{60b78e88-ead8-445c-9cfd-0b87f74ea6cd}";
  const Findings findings = JudgeRegistration(report.registration, report.now);
  ASSERT_EQ(findings.size(), 1u);
  EXPECT_EQ(findings[0].id, "platform.default-provider-hidden");
  EXPECT_EQ(findings[0].severity, Severity::Warning);
  EXPECT_THAT(
      findings[0].text,
      AllOf(HasSubstr("Password {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}"),
            HasSubstr("logon at the console, unlock at the console, logon over Remote Desktop, unlock "
                      "over Remote Desktop.")));
}

TEST(DefaultProvider, NamesThePlacesWhereItIsHidden) {
  Report report = KuvTest::ExampleWhatIf();
  report.registration.defaultProvider = "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}";
  EXPECT_THAT(JudgeRegistration(report.registration, report.now), IsEmpty());
  const Findings findings = JudgeRegistration(report.registration, *report.whatIf);
  ASSERT_EQ(findings.size(), 1u);
  EXPECT_THAT(findings[0].text, HasSubstr("hides it: logon at the console, unlock at the console. "));
}

TEST(DefaultProvider, IsIgnoredIfNotInstalledOrNotAnIdentifier) {
  Report report = ExampleReport();
  for (const char* const provider : {"", "Password", "{99999999-2222-3333-4444-555555555555}"}) {
    report.registration.defaultProvider = provider;
    EXPECT_THAT(JudgeRegistration(report.registration, report.now), IsEmpty()) << provider;
  }
}

SettingState Flag(const char* name, bool on) {
  return {FilterCheck::FindSetting(name), std::nullopt, std::nullopt, on ? "1" : "0", Source::Local};
}

TEST(KuvSmartCardProvider, IsMissingIfBothSettingsRequireIt) {
  for (int row = 0; row < 8; ++row) {
    SCOPED_TRACE(row);
    const bool enable = (row & 1) != 0;
    const bool wrap = (row & 2) != 0;
    Report report = ExampleReport();
    report.now.settings = {Flag("EnableSmartCards", enable), Flag("WrapSmartCards", wrap)};
    report.registration.kuvSmartCardProviderInstalled = (row & 4) != 0;
    const Findings findings = JudgeRegistration(report.registration, report.now);
    ASSERT_EQ(findings.size(), row == 3 ? 1u : 0u);
    if (row != 3) continue;
    EXPECT_EQ(findings[0].id, "provider.kuv-smart-card-missing");
    EXPECT_EQ(findings[0].severity, Severity::Warning);
  }
}

}  // namespace
