#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "FilterCheck/Model/Report.h"

namespace FilterCheck {

/// What the command line asks for.
struct Options {
  bool help = false;
  bool json = false;
  bool noColor = false;
  std::wstring htmlFile;  ///< empty: no page
  std::vector<WhatIfSetting> whatIfSettings;
};

/// Reads the arguments, the program's name not among them. Throws `Tools::UsageError`.
Options ParseOptions(const std::vector<std::wstring>& arguments);

/// Writes the text of `--help`.
void PrintUsage(std::ostream& out);

}  // namespace FilterCheck
