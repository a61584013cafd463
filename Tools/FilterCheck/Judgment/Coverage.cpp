#include "FilterCheck/Judgment/Coverage.h"

#include <algorithm>
#include <iterator>

#include "Common/Identifier.h"
#include "FilterCheck/Judgment/RegistrationFindings.h"
#include "FilterCheck/Model/StockProviders.h"

namespace FilterCheck {

namespace {

using Tools::Provider;

bool IsOfKind(const Decision& decision, SignIn kind) noexcept {
  if (kind == SignIn::Elevation) return decision.scenario.name == "elevation";
  const CREDENTIAL_PROVIDER_USAGE_SCENARIO usage = decision.scenario.usage;
  return decision.session == (kind == SignIn::Console ? Session::Console : Session::Remote) &&
         (usage == CPUS_LOGON || usage == CPUS_UNLOCK_WORKSTATION || usage == CPUS_CHANGE_PASSWORD);
}

bool IsKuv(const Provider& provider) {
  return AskedBy(provider.identifier) == Asks::SecondFactor;
}

CoverageState StateOf(const DecisionReport& report, const Decision& decision) {
  bool kuv = false;
  bool other = false;
  for (std::size_t i = 0; i < decision.enabled.size(); ++i) {
    if (decision.enabled[i]) (IsKuv(report.providers[i]) ? kuv : other) = true;
  }
  // The filter can also hide every provider where it does not protect: if only Kuv providers are installed.
  if (decision.outcome != Outcome::Untouched && !kuv && !other) return CoverageState::Locked;
  if (decision.outcome != Outcome::Protected) return CoverageState::Off;
  if (!kuv) return CoverageState::NoSecondFactor;
  return other ? CoverageState::Alternatives : CoverageState::Required;
}

Reason ReasonOf(CoverageState state, const Decision& decision) {
  // The Kuv credential provider is always allowed, so a protected scenario lacks it only if it is absent.
  const bool lacksProvider = decision.outcome == Outcome::Protected && state > CoverageState::Off;
  return lacksProvider ? Reason{kNoKuvProvider, {}, Source::Default} : decision.because;
}

void AddWays(const DecisionReport& report, const Decision& decision, std::vector<Provider>& ways) {
  for (std::size_t i = 0; i < decision.enabled.size(); ++i) {
    const Provider& provider = report.providers[i];
    const bool known = std::any_of(
        ways.begin(), ways.end(), [&](const Provider& way) { return way.identifier == provider.identifier; });
    if (decision.enabled[i] && !IsKuv(provider) && !known) ways.push_back(provider);
  }
}

Coverage CoverageOfKind(const DecisionReport& report, SignIn kind) {
  Coverage coverage{CoverageState::Required, {}, {}};
  const Decision* worst = nullptr;
  for (const Decision& decision : report.decisions) {
    if (!IsOfKind(decision, kind)) continue;
    AddWays(report, decision, coverage.ways);
    const CoverageState state = StateOf(report, decision);
    if (worst != nullptr && state <= coverage.state) continue;
    worst = &decision;
    coverage.state = state;
  }
  if (worst == nullptr) return {CoverageState::Off, {}, {}};
  coverage.because = ReasonOf(coverage.state, *worst);
  return coverage;
}

Coverage CoverageWithout(const DecisionReport& report, const char* obstacle) {
  Coverage coverage{CoverageState::Off, {}, {obstacle, {}, Source::Default}};
  std::copy_if(report.providers.begin(), report.providers.end(), std::back_inserter(coverage.ways),
               [](const Provider& provider) { return !IsKuv(provider); });
  return coverage;
}

// The places of the kinds of sign-in for which the condition holds: "at the console and over Remote Desktop".
template <typename Condition>
std::string PlacesWhere(const std::array<Coverage, kSignIns.size()>& coverage, Condition holds) {
  std::vector<std::string> places;
  for (const SignIn kind : kSignIns) {
    if (holds(coverage[IndexOf(kind)])) places.emplace_back(PlaceOf(kind));
  }
  return Joined(places, "and");
}

bool IsWay(const Coverage& coverage, const Provider& provider) {
  return coverage.state != CoverageState::Off &&
         std::any_of(coverage.ways.begin(), coverage.ways.end(),
                     [&](const Provider& way) { return way.identifier == provider.identifier; });
}

Finding WayAround(const Provider& provider, const std::string& places) {
  const Asks asks = AskedBy(provider.identifier);
  const std::string identifier = Tools::IdentifierText(provider.identifier);
  const std::string name = provider.name.empty() ? identifier : provider.name + " " + identifier;
  const std::string text = name + " remains " + places + ". It asks for " + std::string{TextOf(asks)} +
                           ", not for the second factor.";
  if (asks != Asks::Password) return {"decision.alternative", Severity::Note, name, text, {}};
  return {"whitelist.single-factor", Severity::Warning, name, text,
          "Remove " + identifier + " from ProvidersWhitelist."};
}

}  // namespace

Obstacle ObstacleOf(const Registration& registration, const Host& host) {
  if (!IsLoadable(registration.filter[0])) return Obstacle::NotLoaded;
  if (host.safeMode != "off" && registration.prohibitFallbacks != 1u) return Obstacle::SafeMode;
  return registration.kuvProviderExcluded ? Obstacle::ProviderExcluded : Obstacle::None;
}

std::array<Coverage, kSignIns.size()> CoverageOf(const DecisionReport& report, Obstacle obstacle) {
  std::array<Coverage, kSignIns.size()> coverage;
  for (const SignIn kind : kSignIns) {
    Coverage& row = coverage[IndexOf(kind)];
    row = CoverageOfKind(report, kind);
    if (obstacle == Obstacle::ProviderExcluded) {
      row.state = CoverageState::Off;
      row.because = {kKuvProviderExcluded, {}, Source::Default};
    } else if (obstacle != Obstacle::None) {
      row = CoverageWithout(report, obstacle == Obstacle::NotLoaded ? kFilterNotLoaded : kSafeMode);
    }
  }
  return coverage;
}

Findings JudgeCoverage(const DecisionReport& report, Obstacle obstacle) {
  const std::array<Coverage, kSignIns.size()> coverage = CoverageOf(report, Obstacle::None);
  const std::string lead{LeadOf(obstacle)};
  const auto placesOf = [&](CoverageState state) {
    return PlacesWhere(coverage, [=](const Coverage& kind) { return kind.state == state; });
  };
  Findings findings;
  if (const std::string places = placesOf(CoverageState::Locked); !places.empty()) {
    findings.push_back({"decision.locked-out", Severity::Problem, "logon screen",
                        lead + "The filter hides every provider " + places + ", so no one can sign in there.",
                        "Install the Kuv credential provider, or remove the filter. See the Recovery page."});
  }
  if (const std::string places = placesOf(CoverageState::NoSecondFactor); !places.empty()) {
    findings.push_back(
        {"decision.no-second-factor", Severity::Problem, "logon screen",
         lead + "The filter shows no Kuv provider " + places + ", so no one is asked for the second factor.",
         "Install the Kuv credential provider. To use the Kuv smart card provider alone, turn on "
         "EnableSmartCards and WrapSmartCards."});
  }
  for (const Provider& provider : report.providers) {
    const std::string places =
        PlacesWhere(coverage, [&](const Coverage& kind) { return IsWay(kind, provider); });
    if (places.empty()) continue;
    findings.push_back(WayAround(provider, places));
    findings.back().text.insert(0, lead);
  }
  return findings;
}

std::string_view LeadOf(Obstacle obstacle) noexcept {
  if (obstacle == Obstacle::NotLoaded) return "If Windows loaded the filter: ";
  return obstacle == Obstacle::SafeMode ? "After a normal start: " : "";
}

std::string_view PlaceOf(SignIn kind) noexcept {
  constexpr std::string_view kPlaces[] = {"at the console", "over Remote Desktop", "at elevation prompts"};
  return kPlaces[IndexOf(kind)];
}

std::string TextOf(const Reason& reason) {
  constexpr std::string_view kSources[] = {"default", "local setting", "policy"};
  if (reason.decidedBy == kNoKuvProvider) return "the Kuv credential provider is not installed";
  if (reason.decidedBy == kFilterNotLoaded) return "Windows does not load the filter";
  if (reason.decidedBy == kSafeMode) return "Windows runs in safe mode and does not apply the filter";
  if (reason.decidedBy == kKuvProviderExcluded) return "a policy of Windows excludes the Kuv provider";
  return reason.decidedBy + " is " + reason.value + " (" +
         std::string{kSources[static_cast<std::size_t>(reason.source)]} + ")";
}

std::string Joined(const std::vector<std::string>& texts, std::string_view word) {
  std::string joined;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (i > 0 && i + 1 == texts.size()) {
      joined.append(" ").append(word).append(" ");
    } else if (i > 0) {
      joined += ", ";
    }
    joined += texts[i];
  }
  return joined;
}

}  // namespace FilterCheck
