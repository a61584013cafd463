#include "FilterCheck/Judgment/Verdict.h"

#include <gmock/gmock.h>

#include "FilterCheck/Judgment/RegistrationFindings.h"
#include "Tools/FilterCheck/MadeUpReport.h"

namespace {

using FilterCheck::ExitCode;
using FilterCheck::Findings;
using FilterCheck::Judge;
using FilterCheck::JudgeRegistration;
using FilterCheck::Report;
using FilterCheck::SettingState;
using FilterCheck::Severity;
using FilterCheck::Source;
using KuvTest::MadeUpReport;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST(Verdict, NothingFoundIsFine) {
  const Report report = MadeUpReport();
  EXPECT_EQ(Judge(report, report.now).code, ExitCode::Fine);
}

TEST(Verdict, NotesAreFine) {
  Report report = MadeUpReport();
  report.now.findings = {{"a.note", Severity::Note, "", "", ""}};
  EXPECT_EQ(Judge(report, report.now).code, ExitCode::Fine);
}

TEST(Verdict, WarningOrProblemIsAFinding) {
  for (const Severity severity : {Severity::Warning, Severity::Problem}) {
    Report report = MadeUpReport();
    report.registrationFindings = {{"a.b", severity, "", "", ""}, {"a.b", severity, "", "", ""}};
    const FilterCheck::Verdict verdict = Judge(report, report.now);
    EXPECT_EQ(verdict.code, ExitCode::Found);
    EXPECT_EQ(verdict.text, severity == Severity::Warning
                                ? "The second factor is in force, with 2 warnings."
                                : "The second factor is in force, with 2 problems.");
  }
}

TEST(Verdict, SecondFactorThatProtectsNothingIsNotInForce) {
  Report report = MadeUpReport();
  report.now.decision.inForce = false;
  const FilterCheck::Verdict verdict = Judge(report, report.now);
  EXPECT_EQ(verdict.code, ExitCode::NotInForce);
  EXPECT_EQ(verdict.text, "The second factor is NOT in force: no kind of logon is protected.");
}

TEST(Verdict, NobodyLeftInComesBehindTheFilterThatIsNotLoaded) {
  Report report = MadeUpReport();
  report.now.decision.inForce = false;
  report.now.decision.decisions.front().enabled = {false, false, false};
  EXPECT_EQ(Judge(report, report.now).text,
            "The second factor CANNOT be given: no provider is left where the filter protects, so nobody can "
            "log on there.");
  EXPECT_EQ(Judge(report, report.now).code, ExitCode::NotInForce);
  report.registration.filter[0].inFilterList = false;
  EXPECT_THAT(Judge(report, report.now).text, HasSubstr("does not load the filter"));
}

TEST(Verdict, FilterThatIsNotLoadedIsNotInForce) {
  for (int fault = 0; fault < 4; ++fault) {
    SCOPED_TRACE(fault);
    Report report = MadeUpReport();
    FilterCheck::RegisteredFilter& filter = report.registration.filter[0];
    if (fault == 0) filter.module.reset();
    if (fault == 1) filter.inFilterList = false;
    if (fault == 2) filter.moduleExists = false;
    if (fault == 3) filter.architectureFits = false;
    EXPECT_EQ(Judge(report, report.now).code, ExitCode::NotInForce);
  }
}

TEST(Verdict, SubjectIsTheWhatIfSituation) {
  const Report report = KuvTest::MadeUpWhatIf();
  EXPECT_EQ(&Subject(report), &*report.whatIf);
  const Report today = MadeUpReport();
  EXPECT_EQ(&Subject(today), &today.now);
}

TEST(DefaultProvider, ThatTheFilterTakesAwayIsAWarning) {
  Report report = MadeUpReport();
  report.registration.defaultProvider = "{60b78e88-ead8-445c-9cfd-0b87f74ea6cd}";
  const Findings findings = JudgeRegistration(report.registration, report.now);
  ASSERT_EQ(findings.size(), 1u);
  EXPECT_EQ(findings[0].id, "platform.default-provider-hidden");
  EXPECT_EQ(findings[0].severity, Severity::Warning);
  EXPECT_THAT(findings[0].text, HasSubstr("Password {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}"));
  EXPECT_THAT(findings[0].text,
              HasSubstr("logon at the console, unlock at the console, logon over remote desktop, unlock over "
                        "remote desktop."));
}

TEST(DefaultProvider, ThatIsTakenAwayAtSomePlacesIsToldWithThem) {
  Report report = KuvTest::MadeUpWhatIf();
  report.registration.defaultProvider = "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}";
  EXPECT_THAT(JudgeRegistration(report.registration, report.now), IsEmpty());
  const Findings findings = JudgeRegistration(report.registration, *report.whatIf);
  ASSERT_EQ(findings.size(), 1u);
  EXPECT_THAT(findings[0].text, HasSubstr("away: logon at the console, unlock at the console. "));
}

TEST(DefaultProvider, ThatIsNotInstalledOrNoIdentifierIsNoFinding) {
  Report report = MadeUpReport();
  for (const char* const provider : {"", "Password", "{99999999-2222-3333-4444-555555555555}"}) {
    report.registration.defaultProvider = provider;
    EXPECT_THAT(JudgeRegistration(report.registration, report.now), IsEmpty()) << provider;
  }
}

SettingState Flag(const char* name, const char* effective) {
  return {FilterCheck::FindSetting(name), std::nullopt, std::nullopt, effective, Source::Local};
}

TEST(KuvSmartCardProvider, IsMissedWhereBothSettingsAskForIt) {
  for (const char* const enable : {"0", "1"}) {
    for (const char* const wrap : {"0", "1"}) {
      for (const bool installed : {false, true}) {
        SCOPED_TRACE(std::string{enable} + wrap + (installed ? "1" : "0"));
        Report report = MadeUpReport();
        report.now.settings = {Flag("EnableSmartCards", enable), Flag("WrapSmartCards", wrap)};
        report.registration.kuvSmartCardProviderInstalled = installed;
        const Findings findings = JudgeRegistration(report.registration, report.now);
        const bool missed = enable[0] == '1' && wrap[0] == '1' && !installed;
        ASSERT_EQ(findings.size(), missed ? 1u : 0u);
        if (!missed) continue;
        EXPECT_EQ(findings[0].id, "provider.kuv-smart-card-missing");
        EXPECT_EQ(findings[0].severity, Severity::Warning);
      }
    }
  }
}

}  // namespace
