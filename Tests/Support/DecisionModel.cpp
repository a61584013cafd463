#include "Support/DecisionModel.h"

#include <algorithm>
#include <stdexcept>

#include "Support/Providers.h"

namespace KuvTest {

namespace {

using Facts = DecisionFacts;

bool Decided(const Facts& f) {
  return f.kuvInstalled && f.loadable;
}
bool Logon(const Facts& f) {
  return Decided(f) && (f.scenario == 1 || f.scenario == 2 || f.scenario == 3);
}
bool ProtectedLogon(const Facts& f) {
  return Logon(f) && f.mode != 1;
}
bool ElevationProtected(const Facts& f) {
  return f.mode == 1 || f.mode == 2;
}
bool ProtectedPrompt(const Facts& f) {
  return Decided(f) && f.scenario == 4 && ElevationProtected(f);
}

constexpr DecisionRule kRules[] = {
    {"no Kuv provider installed", [](const Facts& f) { return !f.kuvInstalled; }, Outcome::Untouched},
    {"configuration not loadable", [](const Facts& f) { return f.kuvInstalled && !f.loadable; },
     Outcome::WithoutKuv},
    {"logon, only elevation is protected", [](const Facts& f) { return Logon(f) && f.mode == 1; },
     Outcome::Untouched},
    {"protected logon, session is remote or RdpOnly is off",
     [](const Facts& f) { return ProtectedLogon(f) && (f.remote || !f.rdpOnly); }, Outcome::OnlyAllowed},
    {"protected logon, session is local and RdpOnly is on",
     [](const Facts& f) { return ProtectedLogon(f) && !f.remote && f.rdpOnly; }, Outcome::WithoutKuv},
    {"elevation prompt, elevation is protected",
     [](const Facts& f) { return ProtectedPrompt(f) && (f.flags & 0x100) != 0; }, Outcome::OnlyAllowed},
    {"other credential prompt, elevation is protected",
     [](const Facts& f) { return ProtectedPrompt(f) && (f.flags & 0x100) == 0; }, Outcome::WithoutKuv},
    {"credential prompt, only logon is protected",
     [](const Facts& f) { return Decided(f) && f.scenario == 4 && !ElevationProtected(f); },
     Outcome::WithoutKuv},
    {"any other scenario", [](const Facts& f) { return Decided(f) && (f.scenario == 0 || f.scenario > 4); },
     Outcome::WithoutKuv},
};

}  // namespace

std::span<const DecisionRule> DecisionRules() {
  return kRules;
}

const DecisionRule& RuleFor(const DecisionFacts& facts) {
  const DecisionRule* found = nullptr;
  for (const DecisionRule& rule : kRules) {
    if (!rule.applies(facts)) continue;
    if (found != nullptr) throw std::logic_error{"several rules apply"};
    found = &rule;
  }
  if (found == nullptr) throw std::logic_error{"no rule applies"};
  return *found;
}

std::vector<GUID> ExpectedAllowed(std::vector<GUID> whitelist, bool enableSmartCards, bool wrapSmartCards,
                                  bool newSystem) {
  whitelist.push_back(kKuvProvider);
  if (enableSmartCards && wrapSmartCards) whitelist.push_back(kKuvSmartCardProvider);
  if (enableSmartCards && !wrapSmartCards) {
    whitelist.push_back(newSystem ? kSmartCardProvider : kV1SmartCardProvider);
  }
  return whitelist;
}

bool IsKuv(const GUID& provider) {
  return provider == kKuvProvider || provider == kKuvSmartCardProvider;
}

bool Holds(const std::vector<GUID>& list, const GUID& provider) {
  return std::find(list.begin(), list.end(), provider) != list.end();
}

BOOL ExpectedFlag(Outcome outcome, const GUID& provider, const std::vector<GUID>& allowed, BOOL before) {
  if (outcome == Outcome::Untouched) return before;
  const bool enabled = outcome == Outcome::OnlyAllowed ? Holds(allowed, provider) : !IsKuv(provider);
  return enabled ? 1 : 0;
}

std::vector<BOOL> ExpectedFlags(Outcome outcome, const std::vector<GUID>& providers,
                                const std::vector<GUID>& allowed, const std::vector<BOOL>& before) {
  std::vector<BOOL> flags;
  for (std::size_t i = 0; i < providers.size(); ++i) {
    flags.push_back(ExpectedFlag(outcome, providers[i], allowed, before[i]));
  }
  return flags;
}

}  // namespace KuvTest
