#include "FilterCheck/Judgment/Decisions.h"

#include <algorithm>

#include "Common/HostError.h"
#include "Common/PlainText.h"
#include "FilterCheck/Judgment/DecisionText.h"
#include "FilterCheck/Model/StockProviders.h"
#include "FilterCheck/WhatIf/AssumedSession.h"
#include "FilterHost/FilterSession.h"
#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/Support/Text.h"
#include "KuvCredFilter/AllowedProviders.h"
#include "KuvCredFilter/Identifiers.h"
#include "KuvCredFilter/KuvCredFilter.h"

namespace FilterCheck {

namespace {

using FilterHost::ProviderList;
using FilterHost::Scenario;

using Flags = std::vector<BOOL>;

Flags AskFilter(const Scenario& scenario, std::vector<GUID> providers, BOOL allow) {
  const FilterHost::UniqueInterface<ICredentialProviderFilter> filter{new CKuvCredFilter};
  Flags flags(providers.size(), allow);
  filter.Get()->Filter(scenario.usage, scenario.flags, providers.data(), flags.data(),
                       static_cast<DWORD>(providers.size()));
  return flags;
}

bool HasKuvProvider(const ProviderList& providers) {
  return std::any_of(providers.begin(), providers.end(),
                     [](const FilterHost::Provider& provider) { return IsKuvProvider(provider.identifier); });
}

// One that is always allowed where the filter protects and never where it does not, and which tells the two
// apart whatever else is installed. The filter looks for any Kuv provider, so on a machine that has one, one
// more at the end changes nothing.
std::vector<GUID> WithProbe(const ProviderList& providers) {
  std::vector<GUID> identifiers;
  for (const FilterHost::Provider& provider : providers) identifiers.push_back(provider.identifier);
  if (HasKuvProvider(providers)) identifiers.push_back(CLSID_KuvCredProv);
  return identifiers;
}

struct Answer {
  Outcome outcome;
  std::vector<bool> enabled;
};

Answer Ask(const Scenario& scenario, const ProviderList& providers) {
  const std::vector<GUID> identifiers = WithProbe(providers);
  const Flags allowed = AskFilter(scenario, identifiers, TRUE);
  const Flags denied = AskFilter(scenario, identifiers, FALSE);
  std::vector<bool> enabled;
  for (std::size_t i = 0; i < providers.size(); ++i) enabled.push_back(allowed[i] != FALSE);
  if (allowed != denied) return {Outcome::Untouched, enabled};
  const bool protects = !allowed.empty() && allowed.back() != FALSE;
  return {protects ? Outcome::Protected : Outcome::Unprotected, enabled};
}

bool IsLogon(const Scenario& scenario) {
  return scenario.usage == CPUS_LOGON || scenario.usage == CPUS_UNLOCK_WORKSTATION ||
         scenario.usage == CPUS_CHANGE_PASSWORD;
}

struct Reason {
  std::string decidedBy;
  std::string value;
  Source source;
};

Reason Because(const JudgedSettings& settings, std::string_view name) {
  const SettingState& state = Judged(settings, name).state;
  return {std::string{name}, state.effective, state.source};
}

// The steps of the filter, in their order: the first that settles the matter.
Reason FindReason(const Scenario& scenario, Session session, const ProviderList& providers,
                  const JudgedSettings& settings) {
  if (!HasKuvProvider(providers)) return {kNoKuvProvider, {}, Source::Default};
  const Configuration& record = *GetConfiguration();
  if (record.Host.empty() || record.Port == 0) return Because(settings, "Host");
  if (record.IKey.empty()) return Because(settings, "IKey");
  if (record.SKey.empty()) return Because(settings, "SKey");
  const bool elevation =
      scenario.usage == CPUS_CREDUI && (scenario.flags & FilterHost::kElevationPrompt) != 0;
  if (!IsLogon(scenario) && !elevation) return {kNeverProtected, {}, Source::Default};
  const bool logonProtected = Judged(settings, "ElevationProtectionMode").state.effective != "1";
  const bool localOnlyOpen = Judged(settings, "RdpOnly").state.effective == "1";
  if (IsLogon(scenario) && logonProtected && localOnlyOpen && session == Session::Console)
    return Because(settings, "RdpOnly");
  return Because(settings, "ElevationProtectionMode");
}

Decision DecideOne(const Scenario& scenario, Session session, const ProviderList& providers,
                   const JudgedSettings& settings) {
  const AssumedSession assumed{session};
  Answer answer = providers.empty() ? Answer{Outcome::Untouched, {}} : Ask(scenario, providers);
  Reason reason = FindReason(scenario, session, providers, settings);
  return {scenario,
          session,
          answer.outcome,
          std::move(answer.enabled),
          std::move(reason.decidedBy),
          std::move(reason.value),
          reason.source};
}

}  // namespace

FilterHost::ProviderList InstalledProviders() {
  ProviderList providers;
  try {
    providers = FilterHost::ReadInstalledProviders();
  } catch (const FilterHost::HostError& error) {
    if (error.Code() != FilterHost::ExitCode::NoProviders) throw;
  }
  for (FilterHost::Provider& provider : providers) {
    // The platform's own by what users know them as; the registry has the name of a class.
    const std::string_view stock = StockProviderName(provider.identifier);
    if (provider.name.empty() || (!stock.empty() && !IsKuvProvider(provider.identifier)))
      provider.name = stock;
    provider.name = PlainText(Utf8ToWide(provider.name));
  }
  return providers;
}

DecisionReport Decide(FilterHost::ProviderList providers, const JudgedSettings& settings) {
  DecisionReport report{std::move(providers), {}, {}, {}, {}, false};
  // As in a new process, which has not loaded its settings yet.
  ForgetRecord();
  for (const Session session : {Session::Console, Session::Remote}) {
    for (const Scenario& scenario : FilterHost::kScenarios)
      report.decisions.push_back(DecideOne(scenario, session, report.providers, settings));
  }
  report.inForce =
      std::any_of(report.decisions.begin(), report.decisions.end(),
                  [&](const Decision& decision) { return AsksForSecondFactor(report, decision); });
  report.atConsole = ConsoleSentence(report);
  report.overRemoteDesktop = RemoteSentence(report);
  report.atElevation = ElevationSentence(report);
  return report;
}

Findings JudgeDecisions(const DecisionReport& report) {
  const auto unguarded =
      std::find_if(report.decisions.begin(), report.decisions.end(), [&](const Decision& decision) {
        return decision.outcome == Outcome::Protected && !AsksForSecondFactor(report, decision);
      });
  if (unguarded == report.decisions.end()) return {};
  if (KeepsEveryoneOut(report)) {
    return {
        {"decision.locked-out", Severity::Problem, "logon screen",
         "The filter hides every provider where the second factor is required, so no one can sign in there.",
         "Install the Kuv credential provider, or remove the filter. See the Recovery page."}};
  }
  return {{"decision.no-second-factor", Severity::Problem, "logon screen",
           "The filter shows no Kuv provider where the second factor is required, so no one is asked for it.",
           "Install the Kuv credential provider. To use the Kuv smart card provider alone, turn on "
           "EnableSmartCards and WrapSmartCards."}};
}

}  // namespace FilterCheck
