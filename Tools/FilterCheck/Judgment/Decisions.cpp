#include "FilterCheck/Judgment/Decisions.h"

#include "Common/ToolError.h"
#include "FilterCheck/Judgment/Coverage.h"
#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/Configuration/KuvAuthConfig.h"
#include "KuvCredFilter/AllowedProviders.h"
#include "KuvCredFilter/Decision.h"

namespace FilterCheck {

namespace {

using Tools::ProviderList;
using Tools::Scenario;

// The facts of this machine as this process sees it, except for the kind of session.
template <bool Remote>
constexpr Kuv::DecisionFacts kFactsOf{GetAllowedProviders, GetElevationProtectionMode, [] { return Remote; },
                                      IsRdpOnly};

struct Answer {
  Kuv::Decision decision;
  std::vector<bool> enabled;
};

Answer AskFilter(const Scenario& scenario, Session session, const ProviderList& providers) {
  std::vector<GUID> identifiers;
  for (const Tools::Provider& provider : providers) identifiers.push_back(provider.identifier);
  std::vector<BOOL> allow(providers.size(), TRUE);
  const Kuv::DecisionFacts& facts = session == Session::Remote ? kFactsOf<true> : kFactsOf<false>;
  const Kuv::Decision decision =
      Kuv::FilterProviders(static_cast<std::uint32_t>(scenario.usage), scenario.flags,
                           {identifiers.data(), identifiers.size()}, {allow.data(), allow.size()}, facts);
  return {decision, {allow.begin(), allow.end()}};
}

Outcome OutcomeOf(Kuv::Outcome outcome) {
  switch (outcome) {
    case Kuv::Outcome::Supported:
      return Outcome::Protected;
    case Kuv::Outcome::Unsupported:
      return Outcome::Unprotected;
    default:
      return Outcome::Untouched;
  }
}

// Returns the first required setting that is missing. If none is missing, the code failed for a reason that
// does not apply to the logon process.
std::string_view MissingSetting() {
  const Configuration& record = *GetConfiguration();
  if (record.Host.empty() || record.Port == 0) return "Host";
  if (record.IKey.empty()) return "IKey";
  if (record.SKey.empty()) return "SKey";
  throw Tools::ToolError{"cannot evaluate the settings: internal error"};
}

Reason Because(const JudgedSettings& settings, std::string_view name) {
  const SettingState& state = Judged(settings, name).state;
  return {std::string{name}, state.effective, state.source};
}

Reason ReasonOf(Kuv::DecidedBy decidedBy, const JudgedSettings& settings) {
  switch (decidedBy) {
    case Kuv::DecidedBy::KuvProvider:
      return {kNoKuvProvider, {}, Source::Default};
    case Kuv::DecidedBy::Failure:
      return Because(settings, MissingSetting());
    case Kuv::DecidedBy::UsageScenario:
      return {kNeverProtected, {}, Source::Default};
    case Kuv::DecidedBy::RdpOnly:
      return Because(settings, "RdpOnly");
    default:
      return Because(settings, "ElevationProtectionMode");
  }
}

Decision DecideOne(const Scenario& scenario, Session session, const ProviderList& providers,
                   const JudgedSettings& settings) {
  Answer answer = AskFilter(scenario, session, providers);
  return {scenario, session, OutcomeOf(answer.decision.outcome), std::move(answer.enabled),
          ReasonOf(answer.decision.decidedBy, settings)};
}

}  // namespace

DecisionReport Decide(Tools::ProviderList providers, const JudgedSettings& settings) {
  DecisionReport report{std::move(providers), {}};
  for (const Session session : {Session::Console, Session::Remote}) {
    for (const Scenario& scenario : Tools::kScenarios)
      report.decisions.push_back(DecideOne(scenario, session, report.providers, settings));
  }
  return report;
}

}  // namespace FilterCheck
