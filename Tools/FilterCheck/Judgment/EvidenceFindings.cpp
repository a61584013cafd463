#include "FilterCheck/Judgment/EvidenceFindings.h"

#include <algorithm>

namespace FilterCheck {

namespace {

constexpr std::string_view kPlaces[] = {"at the console", "over Remote Desktop", "at an elevation prompt"};

Finding NoLog(const Evidence& evidence) {
  return {
      "evidence.no-log", Severity::Note, evidence.log,
      "The filter's log " + evidence.log + " does not exist, so it is unknown what the filter did.",
      "Lock the screen and unlock it, and run KuvFilterCheck again. If there is still no log, Windows does "
      "not load the filter, or the filter cannot create the folder of the log."};
}

Finding Unreadable(const Evidence& evidence) {
  return {"evidence.unreadable", Severity::Note, evidence.log,
          "The filter's log " + evidence.log +
              " cannot be read, so it is unknown what the filter did: " + evidence.unreadable,
          "Run KuvFilterCheck as an administrator."};
}

Finding NeverRan(const Evidence& evidence) {
  return {"evidence.never-ran", Severity::Warning, evidence.log,
          "The filter is registered, but has not made a decision since the last start of Windows (" +
              evidence.startOfWindows + "). " +
              (evidence.lastRun.empty() ? "The end of the log shows no decision."
                                        : "The last one was at " + evidence.lastRun + "."),
          "Lock the screen and unlock it, and run KuvFilterCheck again. If this finding stays, check on the "
          "logon screen whether users are asked for the second factor."};
}

Finding Failed(const Evidence& evidence) {
  return {"evidence.failed", Severity::Warning, evidence.log,
          "The last decision of the filter, at " + evidence.lastRun +
              ", ended with an exception. The filter hid the Kuv providers and showed all others, so the "
              "second factor was not required.",
          "Read the errors in the log. If the settings were incomplete and are corrected now, lock the "
          "screen and unlock it, and run KuvFilterCheck again."};
}

Finding Differs(SignIn kind, const LoggedDecision& logged, Outcome predicted) {
  const std::string place{kPlaces[IndexOf(kind)]};
  return {"evidence.differs", Severity::Warning, std::string{NameOf(kind)},
          "The last decision " + place + ", at " + logged.time + ", was \"" +
              std::string{NameOf(logged.outcome)} + "\". With the current settings, it is \"" +
              std::string{NameOf(predicted)} + "\".",
          "If the settings changed after that time, check on the Settings page when a change takes effect, "
          "and sign in " +
              place +
              " again. If they did not, find out which process wrote the line, and which DLL it had "
              "loaded."};
}

Finding FoundNoKuvProvider(const Evidence& evidence) {
  return {"evidence.differs", Severity::Warning, evidence.log,
          "The last decision of the filter, at " + evidence.lastRun +
              ", was \"untouched\": Windows offered no Kuv provider, so the second factor was not required. "
              "With the current settings and providers, the filter decides otherwise.",
          "If the Kuv credential provider was installed after that time, lock the screen and unlock it, and "
          "run KuvFilterCheck again. Otherwise, find out why Windows does not offer the provider."};
}

}  // namespace

Findings JudgeEvidence(const Evidence& evidence, bool loadable,
                       const std::array<Outcome, kSignIns.size()>& predicted) {
  if (!loadable) return {};
  if (!evidence.exists) return {NoLog(evidence)};
  if (!evidence.unreadable.empty()) return {Unreadable(evidence)};
  Findings findings;
  if (evidence.lastRun.empty() || evidence.ranSinceStart == false) findings.push_back(NeverRan(evidence));
  const bool untouched = std::all_of(predicted.begin(), predicted.end(),
                                     [](Outcome outcome) { return outcome == Outcome::Untouched; });
  if (evidence.lastRunFoundNoKuvProvider && !untouched) findings.push_back(FoundNoKuvProvider(evidence));
  if (evidence.lastRunFailed) findings.push_back(Failed(evidence));
  for (const SignIn kind : kSignIns) {
    const std::optional<LoggedDecision>& logged = evidence.decisions[IndexOf(kind)];
    if (logged && logged->outcome != predicted[IndexOf(kind)])
      findings.push_back(Differs(kind, *logged, predicted[IndexOf(kind)]));
  }
  return findings;
}

}  // namespace FilterCheck
