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

/// The result for one scenario.
struct ScenarioAnswer {
  Tools::Scenario scenario;
  HRESULT result;
  bool untouched;           ///< the filter changed no flag
  std::vector<BOOL> allow;  ///< in the order of the providers
};

/// The results of a run.
struct Report {
  std::string filter;  ///< the path of the DLL
  bool allow;          ///< the flag that was passed for each provider
  Tools::ProviderList providers;
  std::vector<ScenarioAnswer> scenarios;
  std::optional<RemoteAnswer> remote;
};
using LogLines = std::vector<std::string>;

/// Writes a table with a row for each provider and a column for each scenario, and the result for a remote
/// credential.
void PrintTable(const Report& report, std::ostream& out);

/// Writes the log lines below the table.
void PrintLog(const LogLines& lines, std::ostream& out);

/// Writes the report and, if `log` has a value, the log lines as one JSON value.
void PrintJson(const Report& report, const std::optional<LogLines>& log, std::ostream& out);

}  // namespace FilterHost
