#pragma once

#include <iosfwd>
#include <string>

#include "FilterCheck/Model/Report.h"

namespace FilterCheck {

/// Writes the report as sections of aligned tables. The last line is the verdict.
void PrintReport(const Report& report, bool colored, std::ostream& out);

/// Writes the same facts as one JSON value; Docs/FilterCheck.md tells its fields.
void PrintJson(const Report& report, std::ostream& out);

/// Gives the same facts as a page that needs nothing else.
std::string HtmlPage(const Report& report);

}  // namespace FilterCheck
