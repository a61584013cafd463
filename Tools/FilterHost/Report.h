#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "Common/ProviderList.h"
#include "FilterHost/FilterSession.h"

/// @file
/// The result of a run and its two forms. Implemented in ReportTable.cpp and ReportJson.cpp.

namespace FilterHost {

/// The answer for one scenario.
struct ScenarioAnswer {
  Tools::Scenario scenario;
  HRESULT result;
  bool untouched;           ///< the filter changed no flag
  std::vector<BOOL> allow;  ///< in the order of the providers
};

/// Everything that a run found out.
struct Report {
  std::string filter;  ///< the file that the filter comes from
  bool allow;          ///< what was passed in for each provider
  Tools::ProviderList providers;
  std::vector<ScenarioAnswer> scenarios;
  std::optional<RemoteAnswer> remote;
};
using LogLines = std::vector<std::string>;

/// Writes the table, with a row for each provider and a column for each scenario, and where a remote
/// credential goes.
void PrintTable(const Report& report, std::ostream& out);

/// Writes the lines of the log below the table.
void PrintLog(const LogLines& lines, std::ostream& out);

/// Writes the same facts, and the lines of the log if there are any to show, as one JSON value.
void PrintJson(const Report& report, const std::optional<LogLines>& log, std::ostream& out);

}  // namespace FilterHost
