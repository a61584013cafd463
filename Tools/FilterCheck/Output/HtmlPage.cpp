#include <array>

#include "Common/Identifier.h"
#include "FilterCheck/Machine/StoredKeys.h"
#include "FilterCheck/Output/Comparison.h"
#include "FilterCheck/Output/HtmlStyle.h"
#include "FilterCheck/Output/HtmlWriter.h"
#include "FilterCheck/Output/Output.h"

namespace FilterCheck {

namespace {

using Tools::IdentifierText;

std::string Owned(std::string_view text) {
  return std::string{text};
}

// The name of a scenario in a heading.
std::string_view TitleOf(std::string_view scenario) {
  constexpr std::array<std::array<std::string_view, 2>, 6> kTitles{{
      {"logon", "Sign in"},
      {"unlock", "Unlock"},
      {"change-password", "Change password"},
      {"credui", "Credential prompt"},
      {"elevation", "Elevation prompt"},
      {"plap", "Before sign-in (VPN)"},
  }};
  for (const auto& [name, title] : kTitles) {
    if (name == scenario) return title;
  }
  return scenario;
}

struct VerdictLook {
  std::string_view kind;
  std::string_view sign;
};

VerdictLook LookOf(Risk risk) {
  if (risk == Risk::Good) return {"good", "\xE2\x9C\x93"};
  return risk == Risk::Caution ? VerdictLook{"caution", "!"} : VerdictLook{"bad", "\xE2\x9C\x95"};
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
  if (!report.whatIfSettings.empty()) {
    html.Open("ul", {{"class", "what-if"}});
    for (const std::string& text : WhatIfTexts(report)) {
      html.Open("li").Element("span", "Assuming " + text, {{"class", "chip what-if"}}).Close();
    }
    html.Close();
  }
  html.Close().Markup("\n");
}

void WriteVerdict(const Report& report, HtmlWriter& html) {
  const Verdict& verdict = report.Subject().verdict;
  const VerdictLook look = LookOf(RiskOf(report.Subject()));
  html.Open("div",
            {{"class", "verdict " + Owned(look.kind)}, {"data-code", std::to_string(int(verdict.code))}});
  html.Element("span", look.sign, {{"class", "sign"}, {"aria-hidden", "true"}});
  html.Open("div");
  html.Element("p", (report.whatIf ? "With these assumptions: " : "") + verdict.text);
  if (report.whatIf) html.Element("p", "Today: " + report.now.verdict.text, {{"class", "quiet"}});
  html.Close().Close().Markup("\n");
}

struct CellLook {
  std::string_view kind;
  std::string_view text;
};

CellLook LookOf(const Cell& cell) {
  if (cell.shown) {
    return cell.changes ? CellLook{"shown changed", "+ appears"} : CellLook{"shown", "\xE2\x9C\x93 shown"};
  }
  return cell.changes ? CellLook{"hidden changed", "\xE2\x88\x92 disappears"}
                      : CellLook{"hidden", "\xE2\x80\x93 hidden"};
}

void WriteLabel(std::string_view scenario, HtmlWriter& html) {
  html.Element("span", TitleOf(scenario), {{"class", "label"}, {"aria-hidden", "true"}});
}

void WriteMatrixHead(const Matrix& matrix, HtmlWriter& html) {
  html.Open("thead").Open("tr").Element("th", "Provider", {{"scope", "col"}});
  for (const Decision* const decision : matrix.columns) {
    html.Element("th", TitleOf(decision->scenario.name), {{"scope", "col"}});
  }
  html.Close().Close().Markup("\n");
}

void WriteMatrixRow(const Matrix& matrix, const Tools::Provider& provider, const std::vector<Cell>& cells,
                    HtmlWriter& html) {
  const std::string identifier = IdentifierText(provider.identifier);
  html.Open("tr", {{"data-provider", identifier}});
  html.Element("th", Tools::NameOrIdentifier(provider), {{"scope", "row"}, {"title", identifier}});
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const CellLook look = LookOf(cells[i]);
    const std::string_view scenario = matrix.columns[i]->scenario.name;
    html.Open("td", {{"class", "cell " + Owned(look.kind)}, {"data-scenario", Owned(scenario)}});
    WriteLabel(scenario, html);
    html.Element("span", look.text, {{"class", "state"}}).Close();
  }
  html.Close().Markup("\n");
}

// Allows a line break between the words of a long name.
void WriteBreakable(std::string_view name, HtmlWriter& html) {
  std::size_t start = 0;
  for (std::size_t i = 1; i < name.size(); ++i) {
    const bool hump = name[i] >= 'A' && name[i] <= 'Z' && name[i - 1] >= 'a' && name[i - 1] <= 'z';
    if (!hump) continue;
    html.Text(name.substr(start, i - start)).Void("wbr", {});
    start = i;
  }
  html.Text(name.substr(start));
}

void WriteReason(const Decision& decision, HtmlWriter& html) {
  html.Open("td");
  WriteLabel(decision.scenario.name, html);
  html.Element("span", NameOf(decision.outcome), {{"class", "chip " + Owned(NameOf(decision.outcome))}});
  html.Open("div", {{"class", "quiet small"}});
  WriteBreakable(decision.because.decidedBy, html);
  if (!decision.because.value.empty())
    html.Text(" " + decision.because.value + ", " + Owned(NameOf(decision.because.source)));
  html.Close().Close();
}

void WriteMatrix(const Report& report, const Matrix& matrix, HtmlWriter& html) {
  std::string title;
  std::string sessions;
  for (const Session session : matrix.sessions) {
    title += (title.empty() ? "" : " and ") + Owned(PlaceOf(session));
    sessions += (sessions.empty() ? "" : " ") + Owned(NameOf(session));
  }
  title.front() = title.front() == 'a' ? 'A' : 'O';
  html.Element("h3", title);
  html.Open("table", {{"class", "matrix"}, {"data-sessions", sessions}});
  WriteMatrixHead(matrix, html);
  html.Open("tbody");
  const Tools::ProviderList& providers = report.Subject().decision.providers;
  for (std::size_t i = 0; i < matrix.rows.size(); ++i) {
    WriteMatrixRow(matrix, providers[i], matrix.rows[i], html);
  }
  html.Close().Open("tfoot").Open("tr").Element("th", "Outcome and reason", {{"scope", "row"}});
  for (const Decision* const decision : matrix.columns) WriteReason(*decision, html);
  html.Close().Close().Close().Markup("\n");
}

void WriteDecision(const Report& report, HtmlWriter& html) {
  html.Open("section").Element("h2", "What users see");
  for (const Matrix& matrix : Matrices(report)) WriteMatrix(report, matrix, html);
  html.Close().Markup("\n");
}

void WriteFinding(const ComparedFinding& compared, HtmlWriter& html) {
  const Finding& finding = compared.finding;
  const bool gone = compared.change == Change::Disappears;
  html.Open("article", {{"class", gone ? "finding gone" : "finding"}, {"data-id", finding.id}});
  html.Open("div", {{"class", "head"}});
  html.Element("span", NameOf(finding.severity), {{"class", "chip " + Owned(NameOf(finding.severity))}});
  if (compared.change != Change::Same) {
    html.Element("span", gone ? "\xE2\x88\x92 disappears" : "+ appears", {{"class", "chip change"}});
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
  html.Open("section").Element("h2", "Findings");
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

void WriteSettings(const Report& report, HtmlWriter& html) {
  html.Open("section").Element("h2", "Settings").Open("table", {{"class", "list"}});
  html.Open("thead").Open("tr");
  for (const std::string_view title : {"Setting", "Value", "Source and stored value"}) {
    html.Element("th", title, {{"scope", "col"}});
  }
  html.Close().Close().Open("tbody").Markup("\n");
  for (const ComparedSetting& setting : CompareSettings(report)) WriteSetting(setting, html);
  html.Close().Close().Close().Markup("\n");
}

void WriteRegistration(const Report& report, HtmlWriter& html) {
  html.Open("section").Element("h2", "Registration").Open("dl");
  for (const Fact& fact : RegistrationFacts(report.registration)) {
    html.Element("dt", fact.name).Element("dd", fact.value);
  }
  html.Close().Close().Markup("\n");
}

}  // namespace

std::string HtmlPage(const Report& report) {
  HtmlWriter html;
  WriteHead(report, html);
  html.Open("body").Open("main").Markup("\n");
  WriteHeader(report, html);
  WriteVerdict(report, html);
  WriteDecision(report, html);
  WriteFindings(report, html);
  WriteSettings(report, html);
  WriteRegistration(report, html);
  html.Close().Close().Close().Markup("\n");
  return html.Html();
}

}  // namespace FilterCheck
