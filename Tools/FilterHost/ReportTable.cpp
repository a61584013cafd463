#include <algorithm>
#include <ostream>

#include "Common/ErrorText.h"
#include "Common/Identifier.h"
#include "Common/PlainText.h"
#include "FilterHost/Report.h"
#include "KuvAuth/Support/Text.h"

namespace FilterHost {

namespace {

using Tools::HresultText;
using Tools::IdentifierText;
using Tools::PlainUtf8;
using Tools::Provider;
using Tools::TextWidth;

using Column = std::vector<std::string>;

std::size_t Width(const Column& column) {
  std::size_t width = 0;
  for (const std::string& cell : column) width = std::max(width, TextWidth(cell));
  return width;
}

Column NameColumn(const Report& report) {
  Column column{"Provider"};
  for (const Provider& provider : report.providers) {
    column.push_back(provider.name.empty() ? "(no name)" : PlainUtf8(provider.name));
  }
  column.insert(column.end(), {"", "Flags", "Filter result"});
  return column;
}

std::string AnswerText(const ScenarioAnswer& answer) {
  if (FAILED(answer.result)) return HresultText(answer.result);
  return answer.untouched ? "untouched" : "written";
}

Column ScenarioColumn(const ScenarioAnswer& answer) {
  Column column{std::string{answer.scenario.name}};
  for (const BOOL allow : answer.allow) column.emplace_back(allow != FALSE ? "ENABLED" : "-");
  column.insert(column.end(), {"", FormatToString("0x%X", static_cast<unsigned>(answer.scenario.flags)),
                               AnswerText(answer)});
  return column;
}

Column IdentifierColumn(const Report& report) {
  Column column{"Identifier"};
  for (const Provider& provider : report.providers) column.push_back(IdentifierText(provider.identifier));
  return column;
}

void PrintColumns(const std::vector<Column>& columns, std::ostream& out) {
  for (std::size_t row = 0; row < columns.front().size(); ++row) {
    std::string line;
    for (const Column& column : columns) {
      const std::string cell = row < column.size() ? column[row] : std::string{};
      line.append(cell).append(Width(column) - TextWidth(cell) + 2, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
  }
}

std::string ProviderText(const Report& report, const GUID& identifier) {
  const auto provider = std::find_if(report.providers.begin(), report.providers.end(),
                                     [&](const Provider& row) { return row.identifier == identifier; });
  const bool named = provider != report.providers.end() && !provider->name.empty();
  return IdentifierText(identifier) + (named ? " " + PlainUtf8(provider->name) : std::string{});
}

std::string RemoteText(const Report& report, const RemoteAnswer& remote) {
  if (remote.result == E_NOTIMPL) return "stays with its provider";
  if (FAILED(remote.result))
    return "is rejected: " + Tools::DescribeError(static_cast<std::uint32_t>(remote.result));
  return "goes to " + ProviderText(report, remote.redirectedTo) +
         (remote.contentUnchanged ? ", content unchanged" : ", CONTENT CHANGED");
}

}  // namespace

void PrintTable(const Report& report, std::ostream& out) {
  out << "Filter " << report.filter << ", every provider passed as " << (report.allow ? "" : "not ")
      << "allowed\n\n";
  std::vector<Column> columns{NameColumn(report)};
  for (const ScenarioAnswer& answer : report.scenarios) columns.push_back(ScenarioColumn(answer));
  columns.push_back(IdentifierColumn(report));
  PrintColumns(columns, out);
  if (!report.remote) return;
  out << "\nA remote credential for " << ProviderText(report, report.remote->meantFor) << '\n'
      << RemoteText(report, *report.remote) << '\n';
}

void PrintLog(const LogLines& lines, std::ostream& out) {
  out << "\nLog of this run: each scenario as shown above, then again with the opposite flags\n\n";
  for (const std::string& line : lines) out << line << '\n';
  if (lines.empty()) out << "(no lines)\n";
}

}  // namespace FilterHost
