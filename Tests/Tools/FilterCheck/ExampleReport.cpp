#include "Tools/FilterCheck/ExampleReport.h"

#include "Common/Identifier.h"

namespace KuvTest {

namespace {

using FilterCheck::Decision;
using FilterCheck::FindSetting;
using FilterCheck::Outcome;
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
      const bool byRdpOnly = logon && open;
      situation.decision.decisions.push_back({scenario, session, outcome, EnabledBy(outcome),
                                              byRdpOnly ? "RdpOnly"
                                              : logon   ? "ElevationProtectionMode"
                                                        : "never protected",
                                              byRdpOnly ? "1"
                                              : logon   ? "0"
                                                        : "",
                                              byRdpOnly ? Source::Policy : Source::Default});
    }
  }
  situation.decision.atConsole = "At the console, a user sees one thing.";
  situation.decision.overRemoteDesktop = "Over Remote Desktop, a user sees another.";
  situation.decision.atElevation = "At an elevation prompt, a user sees a third.";
  situation.decision.inForce = true;
  return situation;
}

}  // namespace

FilterCheck::Report ExampleReport() {
  FilterCheck::Report report{};
  report.machine = "PC-17";
  report.time = "2026-11-21T09:30:00Z";
  report.now = ExampleSituation(/*consoleIsProtected=*/true);
  report.registration.filter[0] = {
      false, "C:\\K\\KuvCredFilter.dll", false, "Apartment", true, true, true, true, "x64", "4.3.1700.1150"};
  report.registration.filter[1].wow64 = true;
  report.registration.kuvProviderInstalled = true;
  return report;
}

FilterCheck::Report ExampleWhatIf() {
  FilterCheck::Report report = ExampleReport();
  report.whatIfSettings = {{FindSetting("RdpOnly"), L"1"}};
  report.whatIf = ExampleSituation(/*consoleIsProtected=*/false);
  report.whatIf->settings[2].local = StoredValue{REG_DWORD, 4, "1"};
  report.whatIf->settings[2].effective = "1";
  report.whatIf->settings[2].source = Source::Local;
  return report;
}

}  // namespace KuvTest
