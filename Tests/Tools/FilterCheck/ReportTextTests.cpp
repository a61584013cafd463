#include <sstream>

#include <gmock/gmock.h>

#include "FilterCheck/Output/Output.h"
#include "FilterCheck/Output/TextTable.h"
#include "Tools/FilterCheck/ExampleReport.h"

namespace {

using FilterCheck::Report;
using FilterCheck::Severity;
using KuvTest::ExampleReport;
using KuvTest::ExampleWhatIf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

std::string Printed(const Report& report, bool colored = false) {
  std::ostringstream out;
  FilterCheck::PrintReport(report, colored, out);
  return out.str();
}

TEST(ReportText, ShowsResultsInSections) {
  // clang-format off
  EXPECT_EQ(Printed(ExampleReport()),
      "Kuv filter check of PC-17, 2026-11-21T09:30:00Z\n"
      "\n"
      "Machine\n"
      "\n"
      "  KuvFilterCheck     4.3.1700.1150\n"
      "  Registered filter  4.3.1700.1150\n"
      "  Windows            10.0.19045.3086, x64\n"
      "  Safe mode          off\n"
      "  Administrator      yes\n"
      "\n"
      "Settings\n"
      "\n"
      "  Setting  Value                 From   Stored\n"
      "  Host     auth.kuv.example:443  local  local REG_SZ, 34 bytes\n"
      "  SKey     set                   local  policy REG_SZ, 2 bytes; local REG_SZ, 60 bytes\n"
      "\n"
      "  Not set, so the default applies: RdpOnly.\n"
      "\n"
      "Registration\n"
      "\n"
      "  64-bit list of filters       listed\n"
      "  64-bit module                C:\\K\\KuvCredFilter.dll\n"
      "  64-bit file                  version 4.3.1700.1150, x64, same as the DLL of\n"
      "                               this program\n"
      "  64-bit threading model       Apartment\n"
      "  32-bit list of filters       not listed\n"
      "  32-bit class                 not registered\n"
      "  Kuv provider                 installed\n"
      "  Kuv smart card provider      not installed\n"
      "  ExcludedCredentialProviders  not set\n"
      "  DefaultCredentialProvider    not set\n"
      "  ProhibitFallbacks            not set\n"
      "\n"
      "What users see\n"
      "\n"
      "  At the console and over Remote Desktop\n"
      "\n"
      "  Provider                                logon      unlock     change-password  credui       elevation    plap\n"
      "  Outcome                                 protected  protected  protected        unprotected  unprotected  unprotected\n"
      "  Password                                -          -          -                shown        shown        shown\n"
      "  Kuv\xC3\xA9                                    shown      shown      shown            -            -            -\n"
      "  {11111111-2222-3333-4444-555555555555}  -          -          -                shown        shown        shown\n"
      "\n"
      "Log\n"
      "\n"
      "  Log  C:\\ProgramData\\Kuvant\\kuv.log, missing\n"
      "\n"
      "Findings\n"
      "\n"
      "  None.\n"
      "\n"
      "Second factor\n"
      "\n"
      "  Sign-in               State     Reason                                  Other ways\n"
      "  At the console        required  ElevationProtectionMode is 0 (default)  -\n"
      "  Over Remote Desktop   required  ElevationProtectionMode is 0 (default)  -\n"
      "  At elevation prompts  off       ElevationProtectionMode is 0 (default)  any provider\n"
      "\n"
      "The second factor is required at the console and over Remote Desktop. It is NOT required at elevation "
      "prompts: ElevationProtectionMode is 0 (default). No warnings or problems found.\n");
  // clang-format on
}

TEST(ReportText, MarksChangedSettingsAndProviders) {
  const std::string text = Printed(ExampleWhatIf());
  EXPECT_THAT(text, HasSubstr("09:30:00Z\nAssuming RdpOnly=1\n\nMachine\n"));
  // clang-format off
  EXPECT_THAT(text, HasSubstr(
      "  Setting  Value                 From   Today        Stored\n"
      "  Host     auth.kuv.example:443  local               local REG_SZ, 34 bytes\n"
      "  SKey     set                   local               policy REG_SZ, 2 bytes; local REG_SZ, 60 bytes\n"
      "  RdpOnly  1                     local  0 (default)  local REG_DWORD, 4 bytes\n"));
  EXPECT_THAT(text, HasSubstr(
      "  At the console\n"
      "\n"
      "  Provider                                logon        unlock       change-password  credui       elevation    plap\n"
      "  Outcome                                 unprotected  unprotected  unprotected      unprotected  unprotected  unprotected\n"
      "  Password                                APPEARS      APPEARS      APPEARS          shown        shown        shown\n"
      "  Kuv\xC3\xA9                                    DISAPPEARS   DISAPPEARS   DISAPPEARS       -            -            -\n"
      "  {11111111-2222-3333-4444-555555555555}  APPEARS      APPEARS      APPEARS          shown        shown        shown\n"
      "\n"
      "  Over Remote Desktop\n"
      "\n"
      "  Provider                                logon      unlock     change-password  credui       elevation    plap\n"
      "  Outcome                                 protected  protected  protected        unprotected  unprotected  unprotected\n"
      "  Password                                -          -          -                shown        shown        shown\n"));
  EXPECT_THAT(text, HasSubstr(
      "  At the console        off, today required  RdpOnly is 1 (policy)                   any provider\n"
      "  Over Remote Desktop   required             ElevationProtectionMode is 0 (default)  -\n"));
  // clang-format on
  EXPECT_THAT(text, HasSubstr("\nToday: The second factor is required at the console and over Remote"));
  EXPECT_THAT(text,
              EndsWith("\nWith these assumptions: The second factor is required over Remote Desktop. It "
                       "is NOT required at the console: RdpOnly is 1 (policy). It is NOT required at "
                       "elevation prompts: ElevationProtectionMode is 0 (default). Not covered as "
                       "demanded: console. No warnings or problems found.\n"));
}

TEST(ReportText, NamesWaysAroundTheSecondFactor) {
  Report report = ExampleReport();
  for (FilterCheck::Decision& decision : report.now.decision.decisions) decision.enabled = {true, true, true};
  KuvTest::Conclude(report);
  const std::string text = Printed(report, /*colored=*/true);
  EXPECT_THAT(text, HasSubstr("\x1B[33malternatives\x1B[0m"));
  EXPECT_THAT(text, HasSubstr("Password (a password) and"));
  EXPECT_THAT(text, HasSubstr("(unknown"));
  // Green for the Kuv provider, yellow for the others, and only where the sign-in is protected.
  EXPECT_THAT(text, HasSubstr("\x1B[32mshown\x1B[0m"));
  EXPECT_THAT(text, HasSubstr("\x1B[33mshown\x1B[0m"));
  for (FilterCheck::Decision& decision : report.now.decision.decisions)
    decision.outcome = FilterCheck::Outcome::Unprotected;
  KuvTest::Conclude(report);
  EXPECT_THAT(Printed(report, /*colored=*/true), Not(HasSubstr("mshown\x1B")));
}

TEST(ReportText, SaysFirstThatTheFilterIsNotLoaded) {
  Report report = ExampleReport();
  report.registration.filter[0].inFilterList = false;
  KuvTest::Conclude(report);
  const std::string text = Printed(report, /*colored=*/true);
  EXPECT_THAT(text,
              HasSubstr("09:30:00Z\x1B[0m\n\x1B[31mThe second factor is NOT required: Windows does not"));
  EXPECT_THAT(text, HasSubstr("What users would see if Windows loaded the filter"));
  EXPECT_THAT(text, Not(HasSubstr("\x1B[32m")));
}

TEST(ReportText, ShowsTheLastDecisionsInTheLog) {
  Report report = ExampleReport();
  report.evidence = {"C:\\kuv.log",         true, "", "2026-11-21 09:00:00", false, true,
                     "2026-11-20 08:00:00", {},   {}};
  report.evidence.decisions[1] = {"2026-11-21 09:00:00", FilterCheck::Outcome::Protected};
  report.evidence.errors = {{"2026-11-21 08:59:59", "It failed."}};
  EXPECT_THAT(Printed(report),
              HasSubstr("Log\n"
                        "\n"
                        "  Log                                 C:\\kuv.log\n"
                        "  Last start of Windows               2026-11-20 08:00:00\n"
                        "  Last decision                       2026-11-21 09:00:00\n"
                        "  Last decision at the console        none\n"
                        "  Last decision over Remote Desktop   protected, 2026-11-21 09:00:00\n"
                        "  Last decision at elevation prompts  none\n"
                        "  Error                               2026-11-21 08:59:59: It failed.\n"));
  report.evidence.unreadable = "Access denied.";
  EXPECT_THAT(Printed(report), HasSubstr("  Log  C:\\kuv.log, not readable: Access denied.\n"));
}

TEST(ReportText, ListsFindings) {
  Report report = ExampleReport();
  report.now.findings = {{"b.problem", Severity::Problem, "Host", "It is wrong.", "Fix it."},
                         {"c.warning", Severity::Warning, "64-bit view", "It is unexpected.", "Look."},
                         {"a.note", Severity::Note, "Thing", "It is so.", ""}};
  EXPECT_THAT(Printed(report), HasSubstr("\nFindings\n"
                                         "\n"
                                         "  Problem  Host  [b.problem]\n"
                                         "    It is wrong.\n"
                                         "    Recommended action: Fix it.\n"
                                         "\n"
                                         "  Warning  64-bit view  [c.warning]\n"
                                         "    It is unexpected.\n"
                                         "    Recommended action: Look.\n"
                                         "\n"
                                         "  Note  Thing  [a.note]\n"
                                         "    It is so.\n"
                                         "\n"
                                         "Second factor\n"));
}

TEST(ReportText, MarksAddedAndRemovedFindings) {
  Report report = ExampleWhatIf();
  report.now.findings = {{"a.stays", Severity::Warning, "A", "Stays.", ""},
                         {"b.goes", Severity::Problem, "B", "Goes.", ""}};
  report.whatIf->findings = {{"a.stays", Severity::Warning, "A", "Stays.", ""},
                             {"c.comes", Severity::Note, "C", "Comes.", ""}};
  EXPECT_THAT(Printed(report), HasSubstr("  Warning  A  [a.stays]\n"
                                         "    Stays.\n"
                                         "\n"
                                         "  Note APPEARS  C  [c.comes]\n"
                                         "    Comes.\n"
                                         "\n"
                                         "  Problem DISAPPEARS  B  [b.goes]\n"
                                         "    Goes.\n"
                                         "\n"
                                         "Second factor\n"));
}

TEST(ReportText, UsesColorsOnConsoleOnly) {
  EXPECT_THAT(Printed(ExampleReport()), Not(HasSubstr("\x1B")));
  const std::string colored = Printed(ExampleReport(), /*colored=*/true);
  EXPECT_THAT(colored, HasSubstr("\x1B[32mshown\x1B[0m"));
  // Not green, because elevation prompts are not protected.
  EXPECT_THAT(colored, HasSubstr("\x1B[33mThe second factor is required at the console"));
  Report report = ExampleReport();
  report.now.decision.decisions = {report.now.decision.decisions.front()};
  report.now.coverage.fill(report.now.coverage.front());
  EXPECT_THAT(Printed(report, /*colored=*/true), HasSubstr("\x1B[32mThe second factor is required"));
}

// Escape sequences have no width.
TEST(ReportText, AlignsColumnsWithColors) {
  std::string text = Printed(ExampleWhatIf(), /*colored=*/true);
  for (std::size_t start = text.find('\x1B'); start != std::string::npos; start = text.find('\x1B')) {
    text.erase(start, text.find('m', start) + 1 - start);
  }
  EXPECT_EQ(text, Printed(ExampleWhatIf()));
}

TEST(ReportText, DoesNotShowWhatIfSecret) {
  Report report = ExampleWhatIf();
  report.whatIfSettings = {{FilterCheck::FindSetting("SKey"), L"letters"},
                           {FilterCheck::FindSetting("IKey"), L""}};
  const std::string text = Printed(report);
  EXPECT_THAT(text, Not(HasSubstr("letters")));
  EXPECT_THAT(text, HasSubstr("\nAssuming SKey=(set)\nAssuming IKey=\n"));
}

TEST(ReportText, ShowsRegistrationFaults) {
  Report report = ExampleReport();
  report.registration.filter[0] = {false, "", false, "", false, false, false, std::nullopt, "ARM64", ""};
  report.registration.filter[1] = {true, "C:\\x.dll", false, "Free", true, true, false, false, "x86", ""};
  report.registration.others = {{false, "{1}", "Other", "C:\\o.dll", true},
                                {true, "{2}", "", "", false},
                                {true, "{3}", "", "C:\\p.dll", false}};
  report.registration.kuvSmartCardProviderInstalled = true;
  report.registration.excludedProviders = "{E}";
  report.registration.defaultProvider = "{D}";
  report.registration.prohibitFallbacks = 1;
  // clang-format off
  EXPECT_THAT(Printed(report), HasSubstr(
      "  64-bit list of filters       not listed\n"
      "  64-bit module                not set\n"
      "  64-bit threading model       not set\n"
      "  32-bit list of filters       listed\n"
      "  32-bit module                C:\\x.dll\n"
      "  32-bit file                  exists, not x86 or not readable, differs from\n"
      "                               the DLL of this program\n"
      "  32-bit threading model       Free\n"
      "  64-bit other filter          Other {1}, C:\\o.dll\n"
      "  32-bit other filter          {2}, no module\n"
      "  32-bit other filter          {3}, C:\\p.dll, missing\n"
      "  Kuv provider                 installed\n"
      "  Kuv smart card provider      installed\n"
      "  ExcludedCredentialProviders  {E}\n"
      "  DefaultCredentialProvider    {D}\n"
      "  ProhibitFallbacks            1\n"));
  // clang-format on
}

TEST(Wrapped, BreaksBetweenWordsOnly) {
  EXPECT_THAT(FilterCheck::Wrapped("one two three", 7), ElementsAre("one two", "three"));
  EXPECT_THAT(FilterCheck::Wrapped("one twothree four", 6), ElementsAre("one", "twothree", "four"));
  EXPECT_THAT(FilterCheck::Wrapped("\xC3\xA9\xC3\xA9 \xC3\xA9", 4), ElementsAre("\xC3\xA9\xC3\xA9 \xC3\xA9"));
  EXPECT_THAT(FilterCheck::Wrapped("", 4), ElementsAre());
}

}  // namespace
