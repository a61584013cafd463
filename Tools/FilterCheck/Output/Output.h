#pragma once

#include <iosfwd>
#include <string>

#include "FilterCheck/Model/Report.h"

/// @file
/// The forms of a report. Implemented in ReportText.cpp, ReportJson.cpp, HtmlPage.cpp and Event.cpp.

namespace FilterCheck {

/// Writes the report as sections of aligned tables. The last line is the verdict.
void PrintReport(const Report& report, bool colored, std::ostream& out);

/// Writes the report as one JSON value; Docs/FilterCheck.md describes its fields.
void PrintJson(const Report& report, std::ostream& out);

/// Returns the report as an HTML page that loads no other file.
std::string HtmlPage(const Report& report);

/// Returns the current state as one line of JSON in ASCII for an event, at most 31,839 characters, which is
/// the limit of the event log. Leaves out the last findings if there are too many. Docs/FilterCheck.md
/// describes its fields.
std::string EventText(const Report& report);

/// Writes the current state as one event of the source "Kuvant" to the Windows event log: an error if a
/// required kind of sign-in is not covered or there is a problem, a warning if there is a warning, else
/// information. Throws `Tools::ToolError`.
void WriteEvent(const Report& report);

}  // namespace FilterCheck
