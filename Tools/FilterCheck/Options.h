#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "FilterCheck/Model/Report.h"

namespace FilterCheck {

/// The options of the command line.
struct Options {
  bool help = false;
  bool version = false;
  bool json = false;
  bool event = false;
  bool noColor = false;
  std::wstring htmlFile;  ///< empty: no page
  std::vector<WhatIfSetting> whatIfSettings;
  Demand demand{};  ///< after parsing, at least one kind of sign-in
};

/// Parses the arguments without the program name. Throws `Tools::UsageError`.
Options ParseOptions(const std::vector<std::wstring>& arguments);

/// Adds the kinds of sign-in of a `--require` list to the demand. Throws `Tools::UsageError`.
void AddDemand(Demand& demand, const std::wstring& list);

/// Writes the name and version of the program as one line.
void PrintVersion(std::ostream& out);

/// Writes the help text.
void PrintUsage(std::ostream& out);

}  // namespace FilterCheck
