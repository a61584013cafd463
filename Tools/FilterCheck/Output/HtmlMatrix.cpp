#include "FilterCheck/Output/HtmlMatrix.h"

#include <algorithm>
#include <array>

#include "Common/Identifier.h"
#include "FilterCheck/Judgment/Coverage.h"
#include "FilterCheck/Model/StockProviders.h"

namespace FilterCheck {

namespace {

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

std::string_view TextOf(const Cell& cell) {
  if (cell.shown) return cell.changes ? "+ appears" : "\xE2\x9C\x93 shown";
  return cell.changes ? "\xE2\x88\x92 disappears" : "\xE2\x80\x93 hidden";
}

std::string CellClass(const Cell& cell) {
  std::string text = cell.shown ? "cell shown" : "cell";
  if (cell.changes) text += " changed";
  if (cell.role == Role::Plain) return text;
  return text.append(" ").append(ClassOf(cell.role == Role::SecondFactor ? Risk::Good : Risk::Caution));
}

// The class of an outcome. It has the color of a risk only if it is in effect and the filter can protect the
// scenario.
std::string_view ClassOfOutcome(const Report& report, const Matrix& matrix, std::size_t column) {
  const std::string_view scenario = matrix.columns[column]->scenario.name;
  if (report.obstacle != Obstacle::None || scenario == "credui" || scenario == "plap") return "plain";
  const auto has = [&](Role role) {
    return std::any_of(matrix.rows.begin(), matrix.rows.end(),
                       [&](const std::vector<Cell>& row) { return row[column].role == role; });
  };
  if (!has(Role::SecondFactor)) return ClassOf(Risk::Bad);
  return ClassOf(has(Role::WayAround) ? Risk::Caution : Risk::Good);
}

void OpenCell(const Decision& decision, const std::string& kind, HtmlWriter& html) {
  const std::string_view name = decision.scenario.name;
  html.Open("td", {{"class", kind}, {"data-scenario", Owned(name)}, {"data-label", Owned(TitleOf(name))}});
}

void WriteProvider(const Tools::Provider& provider, HtmlWriter& html) {
  html.Open("th", {{"scope", "row"}});
  if (!provider.name.empty()) html.Element("span", provider.name, {{"class", "name"}});
  if (AskedBy(provider.identifier) == Asks::SecondFactor) {
    html.Element("span", "second factor", {{"class", "chip mark"}});
  }
  html.Element("code", Tools::IdentifierText(provider.identifier)).Close();
}

void WriteMatrix(const Matrix& matrix, const Report& report, HtmlWriter& html) {
  std::vector<std::string> places;
  std::string sessions;
  for (const Session session : matrix.sessions) {
    places.emplace_back(PlaceOf(session));
    sessions.append(sessions.empty() ? "" : " ").append(NameOf(session));
  }
  html.Element("h3", Joined(places, "and"));
  html.Open("table", {{"class", "matrix"}, {"data-sessions", sessions}});
  html.Open("thead").Open("tr").Element("th", "Provider", {{"scope", "col"}});
  for (const Decision* const decision : matrix.columns) {
    html.Element("th", TitleOf(decision->scenario.name), {{"scope", "col"}});
  }
  html.Close().Close().Open("tbody").Open("tr");
  html.Element("th", "Outcome", {{"scope", "row"}});
  for (std::size_t i = 0; i < matrix.columns.size(); ++i) {
    OpenCell(*matrix.columns[i], "outcome", html);
    html.Element("span", NameOf(matrix.columns[i]->outcome),
                 {{"class", "chip " + Owned(ClassOfOutcome(report, matrix, i))}});
    html.Close();
  }
  html.Close().Markup("\n");
  const Tools::ProviderList& providers = report.Subject().decision.providers;
  for (std::size_t i = 0; i < matrix.rows.size(); ++i) {
    html.Open("tr", {{"data-provider", Tools::IdentifierText(providers[i].identifier)}});
    WriteProvider(providers[i], html);
    for (std::size_t j = 0; j < matrix.columns.size(); ++j) {
      OpenCell(*matrix.columns[j], CellClass(matrix.rows[i][j]), html);
      html.Text(TextOf(matrix.rows[i][j])).Close();
    }
    html.Close().Markup("\n");
  }
  html.Close().Close().Markup("\n");
}

}  // namespace

std::string_view ClassOf(Risk risk) noexcept {
  constexpr std::string_view kClasses[] = {"good", "caution", "bad"};
  return kClasses[static_cast<std::size_t>(risk)];
}

void WriteMatrices(const Report& report, HtmlWriter& html) {
  html.Open("section").Element("h2", MatrixTitle(report));
  for (const Matrix& matrix : Matrices(report)) WriteMatrix(matrix, report, html);
  html.Close().Markup("\n");
}

}  // namespace FilterCheck
