#include "Tools/FilterCheck/ExampleReport.h"

#include "Common/Identifier.h"
#include "FilterCheck/Judgment/Coverage.h"
#include "FilterCheck/Judgment/Verdict.h"

namespace KuvTest {

namespace {

using FilterCheck::Decision;
using FilterCheck::FindSetting;
using FilterCheck::Outcome;
using FilterCheck::Reason;
using FilterCheck::Session;
using FilterCheck::Situation;
using FilterCheck::Source;
using FilterCheck::StoredValue;

GUID Identifier(const char* text) {
  return Tools::ParseIdentifier(text).value();
}

std::vector<bool> EnabledBy(Outcome outcome) {
  if (outcome == Outcome::Untouched) return {true, true, true};
  return outcome == Outcome::Protected ? std::vector{false, true, false} : std::vector{true, false, true};
}

// Only logon scenarios are protected, optionally without the console session.
Situation ExampleSituation(bool consoleIsProtected) {
  Situation situation{};
  const StoredValue text{REG_SZ, 34, "auth.kuv.example"};
  situation.settings = {
      {FindSetting("Host"), std::nullopt, text, "auth.kuv.example:443", Source::Local},
      {FindSetting("SKey"), StoredValue{REG_SZ, 2, "empty"}, StoredValue{REG_SZ, 60, "set"}, "set",
       Source::Local},
      {FindSetting("RdpOnly"), std::nullopt, std::nullopt, "0", Source::Default},
  };
  situation.decision.providers = {{Identifier("{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}"), "Password"},
                                  {Identifier("{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}"), "Kuv\xC3\xA9"},
                                  {Identifier("{11111111-2222-3333-4444-555555555555}"), ""}};
  for (const Session session : {Session::Console, Session::Remote}) {
    for (const Tools::Scenario& scenario : Tools::kScenarios) {
      const bool logon = scenario.usage >= CPUS_LOGON && scenario.usage <= CPUS_CHANGE_PASSWORD;
      const bool open = session == Session::Console && !consoleIsProtected;
      const Outcome outcome = logon && !open ? Outcome::Protected : Outcome::Unprotected;
      const Reason because = logon && open ? Reason{"RdpOnly", "1", Source::Policy}
                             : logon || scenario.name == "elevation"
                                 ? Reason{"ElevationProtectionMode", "0", Source::Default}
                                 : Reason{"never protected", "", Source::Default};
      situation.decision.decisions.push_back({scenario, session, outcome, EnabledBy(outcome), because});
    }
  }
  return situation;
}

}  // namespace

FilterCheck::Report ExampleReport() {
  FilterCheck::Report report{};
  report.host = {"PC-17", "4.3.1700.1150", "4.3.1700.1150", "10.0.19045.3086", "x64", true, "off"};
  report.time = "2026-11-21T09:30:00Z";
  report.demand = {true, true, false};
  report.now = ExampleSituation(/*consoleIsProtected=*/true);
  report.evidence.log = "C:\\ProgramData\\Kuvant\\kuv.log";
  report.registration.filter[0] = {
      false, "C:\\K\\KuvCredFilter.dll", false, "Apartment", true, true, true, true, "x64", "4.3.1700.1150"};
  report.registration.filter[1].wow64 = true;
  report.registration.kuvProviderInstalled = true;
  Conclude(report);
  return report;
}

FilterCheck::Report ExampleWhatIf() {
  FilterCheck::Report report = ExampleReport();
  report.whatIfSettings = {{FindSetting("RdpOnly"), L"1"}};
  report.whatIf = ExampleSituation(/*consoleIsProtected=*/false);
  report.whatIf->settings[2].local = StoredValue{REG_DWORD, 4, "1"};
  report.whatIf->settings[2].effective = "1";
  report.whatIf->settings[2].source = Source::Local;
  Conclude(report);
  return report;
}

void Conclude(FilterCheck::Report& report) {
  report.obstacle = FilterCheck::ObstacleOf(report.registration, report.host);
  const auto conclude = [&](Situation& situation) {
    situation.coverage = FilterCheck::CoverageOf(situation.decision, report.obstacle);
    situation.verdict = FilterCheck::Judge(report, situation);
  };
  conclude(report.now);
  if (report.whatIf) conclude(*report.whatIf);
}

}  // namespace KuvTest
