#include "FilterCheck/Output/Comparison.h"

#include <algorithm>
#include <utility>

#include "Common/PlainText.h"
#include "FilterCheck/Judgment/Coverage.h"
#include "FilterCheck/Model/StockProviders.h"

namespace FilterCheck {

namespace {

const Decision* FindDecision(const Situation& situation, std::string_view scenario, Session session) {
  for (const Decision& decision : situation.decision.decisions) {
    if (decision.scenario.name == scenario && decision.session == session) return &decision;
  }
  return nullptr;
}

std::vector<const Decision*> DecisionsOf(const Situation& situation, Session session) {
  std::vector<const Decision*> decisions;
  for (const Decision& decision : situation.decision.decisions) {
    if (decision.session == session) decisions.push_back(&decision);
  }
  return decisions;
}

// Returns whether both kinds of session have the same result for the same reason.
bool SessionsAgree(const Situation& situation) {
  const std::vector<const Decision*> console = DecisionsOf(situation, Session::Console);
  const std::vector<const Decision*> remote = DecisionsOf(situation, Session::Remote);
  return std::equal(console.begin(), console.end(), remote.begin(), remote.end(),
                    [](const Decision* left, const Decision* right) {
                      return left->scenario.name == right->scenario.name && left->outcome == right->outcome &&
                             left->enabled == right->enabled && left->because == right->because;
                    });
}

Role RoleOf(const Decision& decision, const Tools::Provider& provider) {
  if (decision.outcome != Outcome::Protected) return Role::Plain;
  return AskedBy(provider.identifier) == Asks::SecondFactor ? Role::SecondFactor : Role::WayAround;
}

Matrix MatrixOf(const Report& report, std::vector<Session> sessions) {
  const Situation& subject = report.Subject();
  Matrix matrix{std::move(sessions), {}, {}};
  matrix.columns = DecisionsOf(subject, matrix.sessions.front());
  for (std::size_t row = 0; row < subject.decision.providers.size(); ++row) {
    std::vector<Cell> cells;
    for (const Decision* const decision : matrix.columns) {
      const Decision* const today = FindDecision(report.now, decision->scenario.name, decision->session);
      const bool shown = decision->enabled.at(row);
      const bool known = today != nullptr && row < today->enabled.size();
      const bool acts = shown && report.obstacle == Obstacle::None;
      cells.push_back({shown, known && today->enabled[row] != shown,
                       acts ? RoleOf(*decision, subject.decision.providers[row]) : Role::Plain});
    }
    matrix.rows.push_back(std::move(cells));
  }
  return matrix;
}

bool IsSame(const Finding& left, const Finding& right) {
  return left.id == right.id && left.subject == right.subject && left.text == right.text;
}

bool Contains(const Findings& findings, const Finding& expected) {
  return std::any_of(findings.begin(), findings.end(),
                     [&](const Finding& finding) { return IsSame(finding, expected); });
}

std::string YesOrNo(bool yes, const char* yesText, const char* noText) {
  return yes ? yesText : noText;
}

std::string FileText(const RegisteredFilter& filter) {
  if (!filter.moduleExists) return "missing";
  std::string text = filter.version.empty() ? "exists, " : "version " + filter.version + ", ";
  text.append(filter.architectureFits ? "" : "not ").append(filter.architecture);
  if (!filter.architectureFits) text += " or not readable";
  if (filter.sameAsBeside == true) text += ", same as the DLL of this program";
  if (filter.sameAsBeside == false) text += ", differs from the DLL of this program";
  return text;
}

void AppendView(const RegisteredFilter& filter, std::vector<Fact>& facts) {
  const std::string view = filter.wow64 ? "32-bit " : "64-bit ";
  facts.push_back({view + "list of filters", YesOrNo(filter.inFilterList, "listed", "not listed")});
  if (!filter.module) {
    facts.push_back(
        {view + "class", YesOrNo(filter.onlyForThisUser, "for the current user only", "not registered")});
    return;
  }
  facts.push_back({view + "module", filter.module->empty() ? "not set" : *filter.module});
  if (!filter.module->empty()) facts.push_back({view + "file", FileText(filter)});
  facts.push_back(
      {view + "threading model", filter.threadingModel.empty() ? "not set" : filter.threadingModel});
}

std::string OrNotSet(const std::string& text) {
  return text.empty() ? "not set" : text;
}

}  // namespace

std::vector<Matrix> Matrices(const Report& report) {
  if (SessionsAgree(report.now) && SessionsAgree(report.Subject())) {
    return {MatrixOf(report, {Session::Console, Session::Remote})};
  }
  return {MatrixOf(report, {Session::Console}), MatrixOf(report, {Session::Remote})};
}

std::vector<ComparedSetting> CompareSettings(const Report& report) {
  std::vector<ComparedSetting> compared;
  for (const SettingState& state : report.Subject().settings) {
    const auto today =
        std::find_if(report.now.settings.begin(), report.now.settings.end(),
                     [&](const SettingState& other) { return other.setting == state.setting; });
    const bool changes = today != report.now.settings.end() &&
                         (today->effective != state.effective || today->source != state.source);
    compared.push_back({&state, changes ? &*today : nullptr});
  }
  return compared;
}

std::vector<ComparedFinding> CompareFindings(const Report& report) {
  const Findings& today = report.now.findings;
  const Findings& subject = report.Subject().findings;
  std::vector<ComparedFinding> compared;
  for (const Finding& finding : subject) {
    compared.push_back({finding, Contains(today, finding) ? Change::Same : Change::Appears});
  }
  for (const Finding& finding : today) {
    if (!Contains(subject, finding)) compared.push_back({finding, Change::Disappears});
  }
  return compared;
}

std::string_view NameOf(Session session) noexcept {
  return session == Session::Console ? "console" : "remote";
}

std::string_view NameOf(WhatIfKey key) noexcept {
  constexpr std::string_view kNames[] = {"effective", "policy", "local"};
  return kNames[static_cast<std::size_t>(key)];
}

std::string_view NameOf(Source source) noexcept {
  constexpr std::string_view kNames[] = {"default", "local", "policy"};
  return kNames[static_cast<std::size_t>(source)];
}

std::string_view NameOf(Severity severity) noexcept {
  constexpr std::string_view kNames[] = {"note", "warning", "problem"};
  return kNames[static_cast<std::size_t>(severity)];
}

std::string_view NameOf(CoverageState state) noexcept {
  constexpr std::string_view kNames[] = {"required", "alternatives", "off", "no-second-factor", "locked"};
  return kNames[static_cast<std::size_t>(state)];
}

std::string_view NameOf(Obstacle obstacle) noexcept {
  constexpr std::string_view kNames[] = {"none", "not-loaded", "safe-mode", "provider-excluded"};
  return kNames[static_cast<std::size_t>(obstacle)];
}

Risk RiskOf(CoverageState state) noexcept {
  if (state == CoverageState::Required) return Risk::Good;
  return state == CoverageState::Alternatives ? Risk::Caution : Risk::Bad;
}

Risk RiskOf(const Situation& situation) noexcept {
  if (situation.verdict.code == ExitCode::NotCovered) return Risk::Bad;
  const bool all =
      std::all_of(situation.coverage.begin(), situation.coverage.end(),
                  [](const Coverage& coverage) { return coverage.state == CoverageState::Required; });
  return all && situation.verdict.code == ExitCode::Covered ? Risk::Good : Risk::Caution;
}

std::vector<std::string> WayTexts(const Coverage& coverage) {
  std::vector<std::string> texts;
  for (const Tools::Provider& way : coverage.ways)
    texts.push_back(NameOrIdentifier(way) + " (" + std::string{TextOf(AskedBy(way.identifier))} + ")");
  return texts;
}

std::string_view MatrixTitle(const Report& report) noexcept {
  constexpr std::string_view kTitles[] = {
      "What users see", "What users would see if Windows loaded the filter",
      "What users see after a normal start", "What users would see if the Kuv provider were not excluded"};
  return kTitles[static_cast<std::size_t>(report.obstacle)];
}

std::string_view PlaceOf(Session session) noexcept {
  return session == Session::Console ? "at the console" : "over Remote Desktop";
}

std::vector<Fact> MachineFacts(const Host& host) {
  return {{"KuvFilterCheck", host.toolVersion},
          {"Registered filter", host.filterVersion.empty() ? "no version" : host.filterVersion},
          {"Windows", host.windowsVersion + ", " + host.architecture},
          {"Safe mode", host.safeMode},
          {"Administrator", host.elevated ? "yes" : "no"}};
}

std::vector<Fact> EvidenceFacts(const Evidence& evidence) {
  std::vector<Fact> facts{{"Log", evidence.log}};
  if (!evidence.exists) return {{"Log", evidence.log + ", missing"}};
  if (!evidence.unreadable.empty()) return {{"Log", evidence.log + ", not readable: " + evidence.unreadable}};
  facts.push_back({"Last start of Windows", evidence.startOfWindows});
  facts.push_back({"Last decision", evidence.lastRun.empty() ? "none" : evidence.lastRun});
  for (const SignIn kind : kSignIns) {
    const std::optional<LoggedDecision>& decision = evidence.decisions[IndexOf(kind)];
    facts.push_back({"Last decision " + std::string{PlaceOf(kind)},
                     decision ? std::string{NameOf(decision->outcome)} + ", " + decision->time : "none"});
  }
  for (const LoggedError& error : evidence.errors) facts.push_back({"Error", error.time + ": " + error.text});
  return facts;
}

std::vector<Fact> RegistrationFacts(const Registration& registration) {
  std::vector<Fact> facts;
  for (const RegisteredFilter& filter : registration.filter) AppendView(filter, facts);
  for (const OtherFilter& other : registration.others) {
    facts.push_back({other.wow64 ? "32-bit other filter" : "64-bit other filter",
                     (other.name.empty() ? other.identifier : other.name + " " + other.identifier) + ", " +
                         (other.module.empty() ? "no module" : other.module) +
                         (other.module.empty() || other.moduleExists ? "" : ", missing")});
  }
  facts.push_back({"Kuv provider", YesOrNo(registration.kuvProviderInstalled, "installed", "not installed")});
  facts.push_back({"Kuv smart card provider",
                   YesOrNo(registration.kuvSmartCardProviderInstalled, "installed", "not installed")});
  facts.push_back({"ExcludedCredentialProviders", OrNotSet(registration.excludedProviders)});
  facts.push_back({"DefaultCredentialProvider", OrNotSet(registration.defaultProvider)});
  facts.push_back({"ProhibitFallbacks", registration.prohibitFallbacks
                                            ? std::to_string(*registration.prohibitFallbacks)
                                            : std::string{"not set"}});
  return facts;
}

std::string WhatIfValue(const WhatIfSetting& whatIf) {
  if (whatIf.setting->name == "SKey" && whatIf.value != L"-") return whatIf.value.empty() ? "empty" : "set";
  return Tools::PlainText(whatIf.value);
}

std::vector<std::string> WhatIfTexts(const Report& report) {
  std::vector<std::string> texts;
  for (const WhatIfSetting& whatIf : report.whatIfSettings) {
    const std::string value = WhatIfValue(whatIf);
    texts.push_back(std::string{PrefixOf(whatIf.key)} + std::string{whatIf.setting->name} + "=" +
                    (whatIf.setting->name == "SKey" ? "(" + value + ")" : value));
  }
  return texts;
}

}  // namespace FilterCheck
