#include "FilterCheck/Judgment/Verdict.h"

#include <gmock/gmock.h>

#include "FilterCheck/Judgment/RegistrationFindings.h"
#include "Tools/FilterCheck/ExampleReport.h"

namespace {

using FilterCheck::ExitCode;
using FilterCheck::Findings;
using FilterCheck::Judge;
using FilterCheck::JudgeRegistration;
using FilterCheck::Report;
using FilterCheck::SettingState;
using FilterCheck::Severity;
using FilterCheck::Source;
using KuvTest::ExampleReport;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

void ExpectVerdict(const Report& report, ExitCode code, const std::string& text) {
  EXPECT_EQ(Judge(report, report.now).code, code);
  EXPECT_EQ(Judge(report, report.now).text, text);
}

TEST(Verdict, IsFineWithoutFindingsOrWithNotesOnly) {
  Report report = ExampleReport();
  ExpectVerdict(report, ExitCode::Fine, "The second factor is required. No issues found.");
  report.now.findings = {{"a.note", Severity::Note, "", "", ""}};
  ExpectVerdict(report, ExitCode::Fine, "The second factor is required. No issues found.");
}

TEST(Verdict, CountsWarningsAndProblems) {
  for (const Severity severity : {Severity::Warning, Severity::Problem}) {
    Report report = ExampleReport();
    report.registrationFindings = {{"a.b", severity, "", "", ""}, {"a.b", severity, "", "", ""}};
    ExpectVerdict(report, ExitCode::Found,
                  severity == Severity::Warning ? "The second factor is required. Found 2 warnings."
                                                : "The second factor is required. Found 2 problems.");
  }
}

TEST(Verdict, IsNotInForceIfNothingIsProtected) {
  Report report = ExampleReport();
  report.now.decision.inForce = false;
  ExpectVerdict(report, ExitCode::NotInForce, "The second factor is NOT required at any kind of sign-in.");
}

TEST(Verdict, ReportsLockoutAfterAFilterThatIsNotLoaded) {
  Report report = ExampleReport();
  report.now.decision.inForce = false;
  report.now.decision.decisions.front().enabled = {false, false, false};
  ExpectVerdict(
      report, ExitCode::NotInForce,
      "NO ONE CAN SIGN IN where the second factor is required: the filter hides every provider there.");
  report.registration.filter[0].inFilterList = false;
  EXPECT_THAT(Judge(report, report.now).text, HasSubstr("does not load the filter"));
}

TEST(Verdict, IsNotInForceIfTheFilterCannotBeLoaded) {
  for (int fault = 0; fault < 4; ++fault) {
    SCOPED_TRACE(fault);
    Report report = ExampleReport();
    FilterCheck::RegisteredFilter& filter = report.registration.filter[0];
    if (fault == 0) filter.module.reset();
    if (fault == 1) filter.inFilterList = false;
    if (fault == 2) filter.moduleExists = false;
    if (fault == 3) filter.architectureFits = false;
    EXPECT_EQ(Judge(report, report.now).code, ExitCode::NotInForce);
  }
}

TEST(Verdict, IsAboutTheWhatIfSituation) {
  const Report report = KuvTest::ExampleWhatIf();
  EXPECT_EQ(&Subject(report), &*report.whatIf);
  const Report today = ExampleReport();
  EXPECT_EQ(&Subject(today), &today.now);
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
