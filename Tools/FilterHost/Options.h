#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "Common/Scenario.h"

namespace FilterHost {

/// The options of the command line.
struct Options {
  bool help = false;
  std::wstring dll;                        ///< empty: the filter is created by its class identifier
  std::wstring providersFile;              ///< empty: the installed providers
  std::vector<Tools::Scenario> scenarios;  ///< in the order of `kScenarios`, with the flags to pass
  bool allow = true;                       ///< the flag that is passed for each provider
  std::optional<GUID> remoteCredential;
  bool json = false;
  bool log = false;
};

/// Parses the arguments without the program name. Throws `Tools::UsageError` and
/// `Tools::MalformedIdentifierError`.
Options ParseOptions(const std::vector<std::wstring>& arguments);

/// Writes the help text.
void PrintUsage(std::ostream& out);

}  // namespace FilterHost
