#include <algorithm>
#include <ostream>

#include "FilterCheck/Judgment/Verdict.h"
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
  for (const auto& [state, today] : CompareSettings(report)) {
    const bool set = state->source != Source::Default;
    const Style style = today != nullptr ? Style::Caution : set ? Style::Plain : Style::Faint;
    std::vector<TextCell> row{{std::string{state->setting->name}, style},
                              {ValueText(state->effective), style},
                              {std::string{NameOf(state->source)}, style}};
    if (report.whatIf) row.push_back({today != nullptr ? TodayText(*today) : std::string{}, style});
    row.push_back({StoredText(*state), Style::Faint});
    table.AddRow(std::move(row));
  }
  table.Write(painter);
}

void WriteRegistration(const Report& report, const Painter& painter) {
  WriteHeading(painter, "Registration");
  TextTable table{kIndentation};
  for (const Fact& fact : RegistrationFacts(report.registration)) table.AddRow({{fact.name}, {fact.value}});
  table.Write(painter);
}

TextCell CellText(Cell cell) {
  switch (cell) {
    case Cell::Shown:
      return {"shown", Style::Good};
    case Cell::Appears:
      return {"APPEARS", Style::Caution};
    case Cell::Disappears:
      return {"DISAPPEARS", Style::Caution};
    case Cell::Hidden:
      break;
  }
  return {"-", Style::Faint};
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
  for (const Decision* const decision : matrix.columns) {
    heading.push_back({std::string{decision->scenario.name}, Style::Faint});
  }
  table.AddRow(std::move(heading));
  const Tools::ProviderList& providers = Subject(report).decision.providers;
  for (std::size_t i = 0; i < matrix.rows.size(); ++i) {
    std::vector<TextCell> row{{NameOrIdentifier(providers[i])}};
    for (const Cell cell : matrix.rows[i]) row.push_back(CellText(cell));
    table.AddRow(std::move(row));
  }
  table.Write(painter);
  painter.Write("\n");
}

Style StyleOf(Outcome outcome) {
  return outcome == Outcome::Protected ? Style::Good : Style::Plain;
}

void WriteReasons(const std::vector<Matrix>& matrices, const Painter& painter) {
  TextTable table{kIndentation};
  table.AddRow(HeadingRow({"Scenario", "Session", "Outcome", "Decided by", "Value", "From"}));
  for (const Matrix& matrix : matrices) {
    const std::string session =
        matrix.sessions.size() > 1 ? std::string{"any"} : std::string{NameOf(matrix.sessions.front())};
    for (const Decision* const decision : matrix.columns) {
      const bool valued = !decision->value.empty();
      table.AddRow({{std::string{decision->scenario.name}},
                    {session},
                    {std::string{NameOf(decision->outcome)}, StyleOf(decision->outcome)},
                    {ValueText(decision->decidedBy)},
                    {ValueText(decision->value)},
                    {valued ? std::string{NameOf(decision->source)} : "-"}});
    }
  }
  table.Write(painter);
}

void WriteDecision(const Report& report, const Painter& painter) {
  WriteHeading(painter, "Decision");
  const std::vector<Matrix> matrices = Matrices(report);
  for (const Matrix& matrix : matrices) WriteMatrix(report, matrix, painter);
  WriteReasons(matrices, painter);
  const DecisionReport& decision = Subject(report).decision;
  for (const std::string& sentence : {decision.atConsole, decision.overRemoteDesktop, decision.atElevation}) {
    if (sentence.empty()) continue;
    painter.Write("\n");
    painter.WriteParagraph(sentence, kIndentation);
  }
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

void WriteVerdict(const Verdict& verdict, const std::string& lead, const Painter& painter) {
  const Style style = verdict.code == ExitCode::Fine    ? Style::Good
                      : verdict.code == ExitCode::Found ? Style::Caution
                                                        : Style::Bad;
  painter.Write(lead);
  painter.Write(verdict.text, style);
  painter.Write("\n");
}

}  // namespace

void PrintReport(const Report& report, bool colored, std::ostream& out) {
  const Painter painter{out, colored};
  painter.Write("Kuv filter check of " + report.machine + ", " + report.time, Style::Heading);
  painter.Write("\n");
  for (const std::string& whatIf : WhatIfTexts(report)) {
    painter.Write("Assuming " + whatIf + "\n", Style::Caution);
  }
  WriteSettings(report, painter);
  WriteRegistration(report, painter);
  WriteDecision(report, painter);
  WriteFindings(report, painter);
  painter.Write("\n");
  if (report.whatIf) WriteVerdict(Judge(report, report.now), "Today: ", painter);
  WriteVerdict(Judge(report, Subject(report)), report.whatIf ? "With these assumptions: " : "", painter);
}

}  // namespace FilterCheck
