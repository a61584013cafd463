#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "FilterCheck/Model/SignIn.h"

namespace FilterSetup {

enum class Command : std::uint8_t { Help, Version, Prepare, SetKey, Status, Disable, Enable };

/// The command line.
struct Options {
  Command command = Command::Help;
  bool dryRun = false;
  bool json = false;
  bool force = false;
  std::wstring from;             ///< empty: standard input
  FilterCheck::Demand demand{};  ///< `--require`, or the default
};

/// Parses the arguments without the program name: a command and its options. Throws `Tools::UsageError`. No
/// message contains an argument that is not an option.
Options ParseOptions(const std::vector<std::wstring>& arguments);

/// Writes the help text.
void PrintUsage(std::ostream& out);

/// Writes the name and the version of the program.
void PrintVersion(std::ostream& out);

}  // namespace FilterSetup
