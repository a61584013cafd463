#include <algorithm>
#include <ostream>

#include "FilterCheck/Judgment/Coverage.h"
#include "FilterCheck/Machine/StoredKeys.h"
#include "FilterCheck/Output/Comparison.h"
#include "FilterCheck/Output/Output.h"
#include "FilterCheck/Output/TextTable.h"

namespace FilterCheck {

namespace {

constexpr std::size_t kIndentation = 2;

void WriteHeading(const Painter& painter, const std::string& heading) {
  painter.Write("\n");
  painter.Write(heading, Style::Heading);
  painter.Write("\n\n");
}

std::vector<TextCell> HeadingRow(const std::vector<std::string>& texts) {
  std::vector<TextCell> row;
  row.reserve(texts.size());
  for (const std::string& text : texts) row.push_back({text, Style::Faint});
  return row;
}

std::string StoredText(const std::optional<StoredValue>& stored) {
  return stored ? TypeName(stored->type) + ", " + std::to_string(stored->bytes) + " bytes" : std::string{};
}

// If both keys contain the setting, both are shown.
std::string StoredText(const SettingState& state) {
  const std::string policy = StoredText(state.policy);
  const std::string local = StoredText(state.local);
  if (policy.empty() && local.empty()) return "-";
  if (policy.empty()) return "local " + local;
  return "policy " + policy + (local.empty() ? "" : "; local " + local);
}

std::string ValueText(const std::string& value) {
  return value.empty() ? "-" : value;
}

std::string TodayText(const SettingState& today) {
  return ValueText(today.effective) + " (" + std::string{NameOf(today.source)} + ")";
}

void WriteSettings(const Report& report, const Painter& painter) {
  WriteHeading(painter, "Settings");
  TextTable table{kIndentation};
  table.AddRow(report.whatIf ? HeadingRow({"Setting", "Value", "From", "Today", "Stored"})
                             : HeadingRow({"Setting", "Value", "From", "Stored"}));
  std::vector<std::string> defaults;
  for (const auto& [state, today] : CompareSettings(report)) {
    const std::string name{state->setting->name};
    if (today == nullptr && !state->policy && !state->local) {
      defaults.push_back(name);
      continue;
    }
    const Style style = today != nullptr ? Style::Caution : Style::Plain;
    std::vector<TextCell> row{
        {name, style}, {ValueText(state->effective), style}, {std::string{NameOf(state->source)}, style}};
    if (report.whatIf) row.push_back({today != nullptr ? TodayText(*today) : std::string{}, style});
    row.push_back({StoredText(*state), Style::Faint});
    table.AddRow(std::move(row));
  }
  table.Write(painter);
  if (defaults.empty()) return;
  painter.Write("\n");
  painter.WriteParagraph("Not set, so the default applies: " + Joined(defaults, "and") + ".", kIndentation);
}

void WriteFacts(const std::string& heading, const std::vector<Fact>& facts, const Painter& painter) {
  WriteHeading(painter, heading);
  TextTable table{kIndentation};
  for (const Fact& fact : facts) table.AddRow({{fact.name}, {fact.value}});
  table.Write(painter);
}

Style StyleOf(Risk risk) {
  if (risk == Risk::Good) return Style::Good;
  return risk == Risk::Caution ? Style::Caution : Style::Bad;
}

TextCell CellText(const Cell& cell) {
  const Style style = cell.role == Role::SecondFactor ? Style::Good
                      : cell.role == Role::WayAround  ? Style::Caution
                                                      : Style::Plain;
  if (cell.changes) return {cell.shown ? "APPEARS" : "DISAPPEARS", style};
  return cell.shown ? TextCell{"shown", style} : TextCell{"-", Style::Faint};
}

std::string Capitalized(std::string_view text) {
  std::string capitalized{text};
  if (!capitalized.empty() && capitalized[0] >= 'a' && capitalized[0] <= 'z') {
    capitalized[0] = static_cast<char>(capitalized[0] - 'a' + 'A');
  }
  return capitalized;
}

std::string TitleOf(const Matrix& matrix) {
  std::string title{Capitalized(PlaceOf(matrix.sessions.front()))};
  for (std::size_t i = 1; i < matrix.sessions.size(); ++i) {
    title.append(" and ").append(PlaceOf(matrix.sessions[i]));
  }
  return title;
}

void WriteMatrix(const Report& report, const Matrix& matrix, const Painter& painter) {
  painter.Write("  " + TitleOf(matrix) + "\n\n");
  TextTable table{kIndentation};
  std::vector<TextCell> heading = HeadingRow({"Provider"});
  std::vector<TextCell> outcomes = HeadingRow({"Outcome"});
  for (const Decision* const decision : matrix.columns) {
    heading.push_back({std::string{decision->scenario.name}, Style::Faint});
    outcomes.push_back({std::string{NameOf(decision->outcome)}, Style::Faint});
  }
  table.AddRow(std::move(heading));
  table.AddRow(std::move(outcomes));
  const Tools::ProviderList& providers = report.Subject().decision.providers;
  for (std::size_t i = 0; i < matrix.rows.size(); ++i) {
    std::vector<TextCell> row{{NameOrIdentifier(providers[i])}};
    for (const Cell& cell : matrix.rows[i]) row.push_back(CellText(cell));
    table.AddRow(std::move(row));
  }
  table.Write(painter);
}

void WriteDecision(const Report& report, const Painter& painter) {
  WriteHeading(painter, std::string{MatrixTitle(report)});
  bool first = true;
  for (const Matrix& matrix : Matrices(report)) {
    if (!first) painter.Write("\n");
    first = false;
    WriteMatrix(report, matrix, painter);
  }
}

std::string OtherWays(const Coverage& coverage) {
  const bool any = coverage.because.decidedBy != kKuvProviderExcluded;
  if (coverage.state == CoverageState::Off && any) return "any provider";
  return coverage.ways.empty() ? "-" : Joined(WayTexts(coverage), "and");
}

void WriteCoverage(const Report& report, const Painter& painter) {
  WriteHeading(painter, "Second factor");
  TextTable table{kIndentation};
  table.AddRow(HeadingRow({"Sign-in", "State", "Reason", "Other ways"}));
  for (const SignIn kind : kSignIns) {
    const Coverage& coverage = report.Subject().coverage[IndexOf(kind)];
    const Coverage& today = report.now.coverage[IndexOf(kind)];
    std::string state{NameOf(coverage.state)};
    if (today.state != coverage.state) state.append(", today ").append(NameOf(today.state));
    table.AddRow({{Capitalized(PlaceOf(kind))},
                  {state, StyleOf(RiskOf(coverage.state))},
                  {TextOf(coverage.because)},
                  {OtherWays(coverage)}});
  }
  table.Write(painter);
}

Style StyleOf(Severity severity) {
  if (severity == Severity::Problem) return Style::Bad;
  return severity == Severity::Warning ? Style::Caution : Style::Plain;
}

std::string LabelOf(const ComparedFinding& compared) {
  const std::string severity = Capitalized(NameOf(compared.finding.severity));
  if (compared.change == Change::Appears) return severity + " APPEARS";
  return compared.change == Change::Disappears ? severity + " DISAPPEARS" : severity;
}

void WriteFindings(const Report& report, const Painter& painter) {
  WriteHeading(painter, "Findings");
  const std::vector<ComparedFinding> findings = CompareFindings(report);
  if (findings.empty()) painter.Write("  None.\n");
  bool first = true;
  for (const ComparedFinding& compared : findings) {
    const Finding& finding = compared.finding;
    if (!first) painter.Write("\n");
    first = false;
    painter.Write("  ");
    painter.Write(LabelOf(compared), StyleOf(finding.severity));
    painter.Write("  " + finding.subject + "  ");
    painter.Write("[" + finding.id + "]", Style::Faint);
    painter.Write("\n");
    painter.WriteParagraph(finding.text, 2 * kIndentation);
    if (!finding.advice.empty())
      painter.WriteParagraph("Recommended action: " + finding.advice, 2 * kIndentation);
  }
}

void WriteVerdict(const Situation& situation, const std::string& lead, const Painter& painter) {
  painter.Write(lead);
  painter.Write(situation.verdict.text, StyleOf(RiskOf(situation)));
  painter.Write("\n");
}

}  // namespace

void PrintReport(const Report& report, bool colored, std::ostream& out) {
  const Painter painter{out, colored};
  painter.Write("Kuv filter check of " + report.host.name + ", " + report.time, Style::Heading);
  painter.Write("\n");
  for (const std::string& whatIf : WhatIfTexts(report)) {
    painter.Write("Assuming " + whatIf + "\n", Style::Caution);
  }
  if (report.obstacle != Obstacle::None) WriteVerdict(report.Subject(), "", painter);
  WriteFacts("Machine", MachineFacts(report.host), painter);
  WriteSettings(report, painter);
  WriteFacts("Registration", RegistrationFacts(report.registration), painter);
  WriteDecision(report, painter);
  WriteFacts("Log", EvidenceFacts(report.evidence), painter);
  WriteFindings(report, painter);
  WriteCoverage(report, painter);
  painter.Write("\n");
  if (report.whatIf) WriteVerdict(report.now, "Today: ", painter);
  WriteVerdict(report.Subject(), report.whatIf ? "With these assumptions: " : "", painter);
}

}  // namespace FilterCheck
