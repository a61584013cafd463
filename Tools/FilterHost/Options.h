#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "Common/Scenario.h"

namespace FilterHost {

/// What the command line asks for.
struct Options {
  bool help = false;
  std::wstring dll;                        ///< empty: the filter is created by its class identifier
  std::wstring providersFile;              ///< empty: the providers that the registry names
  std::vector<Tools::Scenario> scenarios;  ///< in the order of `kScenarios`, with the flags to pass
  bool allow = true;                       ///< what is passed in for each provider
  std::optional<GUID> remoteCredential;
  bool json = false;
  bool log = false;
};

/// Reads the arguments, the program's name not among them. Throws `Tools::UsageError` and
/// `Tools::MalformedIdentifierError`.
Options ParseOptions(const std::vector<std::wstring>& arguments);

/// Writes the text of `--help`.
void PrintUsage(std::ostream& out);

}  // namespace FilterHost
