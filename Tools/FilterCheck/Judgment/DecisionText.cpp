#include "FilterCheck/Judgment/DecisionText.h"

#include <algorithm>

#include "KuvCredFilter/AllowedProviders.h"

namespace FilterCheck {

namespace {

std::string Joined(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) text += i + 1 == names.size() ? " and " : ", ";
    text += names[i];
  }
  return text;
}

std::string NamesOf(const DecisionReport& report, const std::vector<bool>& chosen) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < chosen.size(); ++i) {
    if (chosen[i]) names.push_back(NameOrIdentifier(report.providers[i]));
  }
  return names.empty() ? "no provider" : Joined(names);
}

// Why the second factor is not required here.
std::string ReasonOf(const Decision& decision) {
  if (decision.decidedBy == kNoKuvProvider) return "no Kuv provider is installed";
  return decision.decidedBy + " is " + decision.value + " (" + SourceText(decision.source) + ")";
}

bool IsAnyEnabled(const Decision& decision) {
  return std::find(decision.enabled.begin(), decision.enabled.end(), true) != decision.enabled.end();
}

std::string SeenUnderProtection(const DecisionReport& report, const Decision& decision,
                                const std::string& names) {
  if (!IsAnyEnabled(decision)) return "sees no provider and cannot sign in.";
  return "sees only " + names +
         (AsksForSecondFactor(report, decision) ? ". The second factor is required."
                                                : ". No provider asks for the second factor.");
}

// "sees ..." with the providers and the consequence.
std::string Seen(const DecisionReport& report, const Decision& decision) {
  const std::string names = NamesOf(report, decision.enabled);
  switch (decision.outcome) {
    case Outcome::Protected:
      return SeenUnderProtection(report, decision, names);
    case Outcome::Unprotected:
      return "sees " + names + ". The second factor is not required, because " + ReasonOf(decision) + ".";
    default:
      return "sees every provider that Windows offers (" + names + "). The filter changes nothing, because " +
             ReasonOf(decision) + ".";
  }
}

const Decision& Find(const DecisionReport& report, std::string_view scenario, Session session) {
  return *std::find_if(report.decisions.begin(), report.decisions.end(), [&](const Decision& decision) {
    return decision.scenario.name == scenario && decision.session == session;
  });
}

}  // namespace

std::string ConsoleSentence(const DecisionReport& report) {
  return "At the console, a user " + Seen(report, Find(report, "logon", Session::Console));
}

std::string RemoteSentence(const DecisionReport& report) {
  return "Over Remote Desktop, a user " + Seen(report, Find(report, "logon", Session::Remote));
}

// The filter does not query the kind of session here.
std::string ElevationSentence(const DecisionReport& report) {
  return "At an elevation prompt, a user " + Seen(report, Find(report, "elevation", Session::Console));
}

bool AsksForSecondFactor(const DecisionReport& report, const Decision& decision) {
  if (decision.outcome != Outcome::Protected) return false;
  for (std::size_t i = 0; i < decision.enabled.size(); ++i) {
    if (decision.enabled[i] && IsKuvProvider(report.providers[i].identifier)) return true;
  }
  return false;
}

bool KeepsEveryoneOut(const DecisionReport& report) {
  return std::any_of(report.decisions.begin(), report.decisions.end(), [](const Decision& decision) {
    return decision.outcome == Outcome::Protected && !IsAnyEnabled(decision);
  });
}

std::string SourceText(Source source) {
  switch (source) {
    case Source::Policy:
      return "policy";
    case Source::Local:
      return "local setting";
    default:
      return "default";
  }
}

}  // namespace FilterCheck
