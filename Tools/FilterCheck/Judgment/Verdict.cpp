#include "FilterCheck/Judgment/Verdict.h"

#include <algorithm>

#include "FilterCheck/Judgment/DecisionText.h"
#include "FilterCheck/Judgment/RegistrationFindings.h"

namespace FilterCheck {

namespace {

std::string Counted(const Findings& findings, Severity severity, const std::string& word) {
  const auto count = std::count_if(findings.begin(), findings.end(),
                                   [&](const Finding& f) { return f.severity == severity; });
  return count == 0 ? std::string{} : std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

// "1 problem and 2 warnings"; empty if there are neither.
std::string WhatWasFound(const Findings& findings) {
  const std::string problems = Counted(findings, Severity::Problem, "problem");
  const std::string warnings = Counted(findings, Severity::Warning, "warning");
  return problems + (problems.empty() || warnings.empty() ? "" : " and ") + warnings;
}

}  // namespace

Verdict Judge(const Report& report, const Situation& situation) {
  if (!IsLoadable(report.registration.filter[0])) {
    return {ExitCode::NotInForce,
            "The second factor is NOT required: Windows does not load the filter for the logon screen."};
  }
  if (report.registration.kuvProviderExcluded) {
    return {ExitCode::NotInForce,
            "The second factor is treated as NOT required: the policy setting ExcludedCredentialProviders "
            "may hide the Kuv credential provider."};
  }
  if (!situation.decision.inForce && KeepsEveryoneOut(situation.decision)) {
    return {ExitCode::NotInForce,
            "NO ONE CAN SIGN IN where the second factor is required: the filter hides every provider there."};
  }
  if (!situation.decision.inForce) {
    return {ExitCode::NotInForce, "The second factor is NOT required at any kind of sign-in."};
  }
  const std::string found = WhatWasFound(AllFindings(report, situation));
  if (found.empty()) return {ExitCode::Fine, "The second factor is required. No issues found."};
  return {ExitCode::Found, "The second factor is required. Found " + found + "."};
}

const Situation& Subject(const Report& report) noexcept {
  return report.whatIf ? *report.whatIf : report.now;
}

Findings AllFindings(const Report& report, const Situation& situation) {
  Findings all = situation.findings;
  all.insert(all.end(), report.registrationFindings.begin(), report.registrationFindings.end());
  std::stable_sort(all.begin(), all.end(),
                   [](const Finding& left, const Finding& right) { return left.severity > right.severity; });
  return all;
}

}  // namespace FilterCheck
