#include "FilterCheck/Judgment/Coverage.h"
#include "FilterCheck/Machine/StoredKeys.h"
#include "FilterCheck/Output/Comparison.h"
#include "FilterCheck/Output/HtmlMatrix.h"
#include "FilterCheck/Output/HtmlStyle.h"
#include "FilterCheck/Output/HtmlWriter.h"
#include "FilterCheck/Output/Output.h"

namespace FilterCheck {

namespace {

// Writes a sign for readers who do not see the color.
void WriteSign(Risk risk, HtmlWriter& html) {
  constexpr std::string_view kSigns[] = {"\xE2\x9C\x93", "!", "\xE2\x9C\x95"};
  html.Element("span", kSigns[static_cast<std::size_t>(risk)], {{"class", "sign"}, {"aria-hidden", "true"}});
}

std::string_view KindOf(Severity severity) {
  if (severity == Severity::Note) return "note";
  return ClassOf(severity == Severity::Warning ? Risk::Caution : Risk::Bad);
}

void WriteHead(const Report& report, HtmlWriter& html) {
  html.Markup("<!DOCTYPE html>\n").Open("html", {{"lang", "en"}}).Open("head");
  html.Void("meta", {{"charset", "utf-8"}});
  html.Void("meta", {{"name", "viewport"}, {"content", "width=device-width, initial-scale=1"}});
  // A second line of defense against injected text.
  html.Void("meta", {{"http-equiv", "Content-Security-Policy"},
                     {"content", "default-src 'none'; style-src 'unsafe-inline'"}});
  html.Element("title", "Kuv filter check of " + report.host.name);
  html.Open("style").Markup(kHtmlStyle).Close().Close().Markup("\n");
}

void WriteHeader(const Report& report, HtmlWriter& html) {
  html.Open("header");
  html.Element("p", "Kuv filter check", {{"class", "quiet small"}});
  html.Element("h1", report.host.name);
  html.Element("time", report.time, {{"class", "quiet small"}, {"datetime", report.time}});
  for (const std::string& text : WhatIfTexts(report)) {
    html.Element("p", "Assuming " + text, {{"class", "chip mark"}});
  }
  html.Close().Markup("\n");
}

void WriteVerdict(const Report& report, HtmlWriter& html) {
  const Verdict& verdict = report.Subject().verdict;
  const Risk risk = RiskOf(report.Subject());
  html.Open("div",
            {{"class", "verdict " + Owned(ClassOf(risk))}, {"data-code", std::to_string(int(verdict.code))}});
  WriteSign(risk, html);
  html.Open("div").Element("p", (report.whatIf ? "With these assumptions: " : "") + verdict.text);
  if (report.whatIf) html.Element("p", "Today: " + report.now.verdict.text);
  html.Close().Close().Markup("\n");
}

std::string_view WordsOf(CoverageState state) {
  constexpr std::string_view kWords[] = {"Second factor required", "Required, with alternatives",
                                         "Second factor off", "No second factor offered",
                                         "No one can sign in"};
  return kWords[static_cast<std::size_t>(state)];
}

void WriteWays(const Coverage& coverage, HtmlWriter& html) {
  if (coverage.state == CoverageState::Off && coverage.because.decidedBy != kKuvProviderExcluded) {
    html.Element("p", "Users sign in with any other provider.", {{"class", "small"}});
  } else if (!coverage.ways.empty()) {
    html.Element("p", "Users can select instead:", {{"class", "small"}}).Open("ul");
    for (const std::string& way : WayTexts(coverage)) html.Element("li", way);
    html.Close();
  }
}

void WriteKind(const Report& report, SignIn kind, HtmlWriter& html) {
  const Coverage& coverage = report.Subject().coverage[IndexOf(kind)];
  const CoverageState today = report.now.coverage[IndexOf(kind)].state;
  const Risk risk = RiskOf(coverage.state);
  html.Open("article", {{"class", "kind " + Owned(ClassOf(risk))},
                        {"data-kind", Owned(NameOf(kind))},
                        {"data-state", Owned(NameOf(coverage.state))}});
  html.Element("h2", PlaceOf(kind)).Open("p", {{"class", "state"}});
  WriteSign(risk, html);
  html.Text(WordsOf(coverage.state)).Close();
  if (today != coverage.state) {
    html.Element("p", "changes; today: " + Owned(WordsOf(today)), {{"class", "today"}});
  }
  html.Element("p", TextOf(coverage.because) + ".", {{"class", "small"}});
  WriteWays(coverage, html);
  html.Close();
}

void WriteKinds(const Report& report, HtmlWriter& html) {
  html.Open("div", {{"class", "kinds"}});
  for (const SignIn kind : kSignIns) WriteKind(report, kind, html);
  html.Close().Markup("\n");
}

void WriteFinding(const ComparedFinding& compared, HtmlWriter& html) {
  const Finding& finding = compared.finding;
  const bool gone = compared.change == Change::Disappears;
  html.Open("article", {{"class", gone ? "finding gone" : "finding"}, {"data-id", finding.id}});
  html.Open("div", {{"class", "head"}});
  html.Element("span", NameOf(finding.severity), {{"class", "chip " + Owned(KindOf(finding.severity))}});
  if (compared.change != Change::Same) {
    html.Element("span", gone ? "\xE2\x88\x92 disappears" : "+ appears", {{"class", "chip mark"}});
  }
  html.Element("span", finding.subject, {{"class", "subject"}});
  html.Element("code", finding.id, {{"class", "quiet"}}).Close();
  html.Open("p").TextWithCode(finding.text).Close();
  if (!finding.advice.empty()) {
    html.Open("p").Element("strong", "Recommended action:").Text(" ").TextWithCode(finding.advice).Close();
  }
  html.Close().Markup("\n");
}

void WriteFindings(const Report& report, HtmlWriter& html) {
  html.Open("section", {{"class", "findings"}}).Element("h2", "Findings");
  const std::vector<ComparedFinding> findings = CompareFindings(report);
  if (findings.empty()) html.Element("p", "None.", {{"class", "quiet"}});
  for (const ComparedFinding& finding : findings) WriteFinding(finding, html);
  html.Close().Markup("\n");
}

void WriteStored(const char* key, const std::optional<StoredValue>& stored, HtmlWriter& html) {
  if (!stored) return;
  html.Open("div", {{"class", "quiet small"}}).Text(key).Text(" ").Text(TypeName(stored->type));
  html.Text(", " + std::to_string(stored->bytes) + " bytes").Close();
}

void WriteSetting(const ComparedSetting& compared, HtmlWriter& html) {
  const SettingState& state = *compared.state;
  const bool set = state.source != Source::Default;
  html.Open("tr", {{"class", set ? "set" : "unset"}, {"data-setting", Owned(state.setting->name)}});
  html.Open("th", {{"scope", "row"}}).Element("code", state.setting->name);
  html.Open("span", {{"class", "meaning"}}).TextWithCode(state.setting->meaning).Close().Close();
  html.Open("td", {{"class", "value"}}).Element("span", state.effective, {{"class", "effective"}});
  if (compared.today != nullptr) {
    html.Element(
        "span",
        "changes; today " + compared.today->effective + " (" + Owned(NameOf(compared.today->source)) + ")",
        {{"class", "today"}});
  }
  html.Close().Open("td").Text(NameOf(state.source));
  WriteStored("policy", state.policy, html);
  WriteStored("local", state.local, html);
  html.Close().Close().Markup("\n");
}

void WriteSettingTable(const std::vector<ComparedSetting>& settings, HtmlWriter& html) {
  html.Open("table", {{"class", "list"}}).Open("thead").Open("tr");
  for (const std::string_view title : {"Setting", "Value", "Source and stored value"}) {
    html.Element("th", title, {{"scope", "col"}});
  }
  html.Close().Close().Open("tbody").Markup("\n");
  for (const ComparedSetting& setting : settings) WriteSetting(setting, html);
  html.Close().Close();
}

// Settings without a stored value are folded.
void WriteSettings(const Report& report, HtmlWriter& html) {
  std::vector<ComparedSetting> set;
  std::vector<ComparedSetting> unset;
  for (const ComparedSetting& setting : CompareSettings(report)) {
    const bool folded = !setting.state->policy && !setting.state->local && setting.today == nullptr;
    (folded ? unset : set).push_back(setting);
  }
  html.Open("section").Element("h2", "Settings");
  if (!set.empty()) WriteSettingTable(set, html);
  html.Open("details").Element("summary", "Settings at their default (" + std::to_string(unset.size()) + ")");
  WriteSettingTable(unset, html);
  html.Close().Close().Markup("\n");
}

void WriteFacts(const char* title, const std::vector<Fact>& facts, HtmlWriter& html) {
  html.Open("section").Element("h2", title).Open("dl");
  for (const Fact& fact : facts) html.Element("dt", fact.name).Element("dd", fact.value);
  html.Close().Close().Markup("\n");
}

}  // namespace

std::string HtmlPage(const Report& report) {
  HtmlWriter html;
  WriteHead(report, html);
  html.Open("body").Open("main").Markup("\n");
  WriteHeader(report, html);
  WriteVerdict(report, html);
  WriteKinds(report, html);
  WriteFindings(report, html);
  WriteMatrices(report, html);
  WriteSettings(report, html);
  WriteFacts("Machine", MachineFacts(report.host), html);
  WriteFacts("Registration", RegistrationFacts(report.registration), html);
  WriteFacts("Log", EvidenceFacts(report.evidence), html);
  html.Close().Close().Close().Markup("\n");
  return html.Html();
}

}  // namespace FilterCheck
