#include "FilterCheck/Judgment/Verdict.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "FilterCheck/Judgment/Coverage.h"
#include "FilterCheck/Judgment/EvidenceFindings.h"
#include "FilterCheck/Judgment/RegistrationFindings.h"

namespace FilterCheck {

namespace {

void Append(Findings& findings, Findings more) {
  findings.insert(findings.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

// The outcomes of the current settings, which the log is compared with.
std::array<Outcome, kSignIns.size()> LogonOutcomes(const DecisionReport& report) {
  std::array<Outcome, kSignIns.size()> outcomes{};
  for (const Decision& decision : report.decisions) {
    if (decision.scenario.name == "logon")
      outcomes[IndexOf(decision.session == Session::Console ? SignIn::Console : SignIn::Remote)] =
          decision.outcome;
    if (decision.scenario.name == "elevation") outcomes[IndexOf(SignIn::Elevation)] = decision.outcome;
  }
  return outcomes;
}

Findings JudgeSafeMode(const Report& report) {
  if (report.obstacle != Obstacle::SafeMode) return {};
  return {{"platform.safe-mode", Severity::Warning, "safe mode",
           "Windows runs in safe mode, in which it does not apply the filter.",
           "Restart Windows to require the second factor again."}};
}

// Kinds of sign-in with the same state, reason and ways.
struct KindGroup {
  Coverage coverage;
  std::vector<std::string> places;
};

bool IsAlike(const Coverage& left, const Coverage& right) {
  return left.state == right.state && left.because == right.because &&
         std::equal(
             left.ways.begin(), left.ways.end(), right.ways.begin(), right.ways.end(),
             [](const Tools::Provider& a, const Tools::Provider& b) { return a.identifier == b.identifier; });
}

std::vector<KindGroup> GroupsOf(const Situation& situation) {
  std::vector<KindGroup> groups;
  for (const SignIn kind : kSignIns) {
    const Coverage& coverage = situation.coverage[IndexOf(kind)];
    auto group = std::find_if(groups.begin(), groups.end(),
                              [&](const KindGroup& other) { return IsAlike(other.coverage, coverage); });
    if (group == groups.end()) group = groups.insert(groups.end(), {coverage, {}});
    group->places.emplace_back(PlaceOf(kind));
  }
  std::stable_sort(groups.begin(), groups.end(), [](const KindGroup& left, const KindGroup& right) {
    return left.coverage.state < right.coverage.state;
  });
  return groups;
}

// `it` names the second factor, which only the first sentence spells out.
std::string SentenceOf(const KindGroup& group, const std::string& it) {
  const std::string places = Joined(group.places, "and");
  const std::string because = ": " + TextOf(group.coverage.because) + ".";
  std::vector<std::string> ways;
  for (const Tools::Provider& way : group.coverage.ways) ways.push_back(NameOrIdentifier(way));
  switch (group.coverage.state) {
    case CoverageState::Required:
      return it + " is required " + places + ".";
    case CoverageState::Alternatives:
      return it + " is required " + places + " unless the user selects " + Joined(ways, "or") + ".";
    case CoverageState::Off:
      return it + " is NOT required " + places + because;
    case CoverageState::NoSecondFactor:
      return it + " is NOT ASKED FOR " + places + because;
    default:
      return "NO ONE CAN SIGN IN " + places + because;
  }
}

std::string CoverageText(const Report& report, const Situation& situation) {
  if (report.obstacle == Obstacle::NotLoaded)
    return "The second factor is NOT required: Windows does not load the filter for the logon screen.";
  if (report.obstacle == Obstacle::SafeMode)
    return "The second factor is NOT required now: Windows runs in safe mode and does not apply the filter.";
  if (report.obstacle == Obstacle::ProviderExcluded) {
    return "The second factor is treated as NOT required: the policy setting ExcludedCredentialProviders "
           "may hide the Kuv credential provider.";
  }
  std::string text;
  for (const KindGroup& group : GroupsOf(situation)) {
    const bool first = text.find("The second factor") == std::string::npos;
    text += (text.empty() ? "" : " ") + SentenceOf(group, first ? "The second factor" : "It");
  }
  return text;
}

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

// The demanded kinds of sign-in that are not covered, as their names in options.
std::string NotCovered(const Demand& demand, const Situation& situation) {
  std::vector<std::string> names;
  for (const SignIn kind : kSignIns) {
    const bool covered = situation.coverage[IndexOf(kind)].state <= CoverageState::Alternatives;
    if (demand[IndexOf(kind)] && !covered) names.emplace_back(NameOf(kind));
  }
  return Joined(names, "and");
}

}  // namespace

Verdict Judge(const Report& report, const Situation& situation) {
  const std::string found = WhatWasFound(situation.findings);
  const std::string missing = NotCovered(report.demand, situation);
  std::string text = CoverageText(report, situation);
  if (!missing.empty()) text += " Not covered as demanded: " + missing + ".";
  text += found.empty() ? " No warnings or problems found." : " Found " + found + ".";
  return {!missing.empty() ? ExitCode::NotCovered
          : found.empty()  ? ExitCode::Covered
                           : ExitCode::CoveredWithFindings,
          text};
}

void Conclude(const Report& report, Situation& situation) {
  const bool loaded = report.obstacle == Obstacle::None || report.obstacle == Obstacle::ProviderExcluded;
  situation.coverage = CoverageOf(situation.decision, report.obstacle);
  Append(situation.findings, JudgeRegistration(report.registration));
  Findings decided = JudgeRegistration(report.registration, situation);
  for (Finding& finding : decided) finding.text.insert(0, LeadOf(report.obstacle));
  Append(situation.findings, std::move(decided));
  Append(situation.findings, JudgeCoverage(situation.decision, report.obstacle));
  Append(situation.findings, JudgeEvidence(report.evidence, loaded, LogonOutcomes(report.now.decision)));
  Append(situation.findings, JudgeSafeMode(report));
  std::stable_sort(situation.findings.begin(), situation.findings.end(),
                   [](const Finding& left, const Finding& right) { return left.severity > right.severity; });
  situation.verdict = Judge(report, situation);
}

}  // namespace FilterCheck
