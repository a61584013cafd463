#pragma once

#include <iosfwd>
#include <string>

#include "FilterCheck/Model/Report.h"

/// @file
/// The three forms of a report. Implemented in ReportText.cpp, ReportJson.cpp and HtmlPage.cpp.

namespace FilterCheck {

/// Writes the report as sections of aligned tables. The last line is the verdict.
void PrintReport(const Report& report, bool colored, std::ostream& out);

/// Writes the report as one JSON value; Docs/FilterCheck.md describes its fields.
void PrintJson(const Report& report, std::ostream& out);

/// Returns the report as an HTML page that loads no other file.
std::string HtmlPage(const Report& report);

}  // namespace FilterCheck
