#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "FilterCheck/Model/Report.h"
#include "FilterCheck/Options.h"

namespace FilterCheck {

/// Examines the machine in its current state and with the what-if settings of the options. Throws
/// `Tools::ToolError`.
Report CheckMachine(const Options& options);

/// Runs the program: parses the arguments (without the program name), examines the machine and writes the
/// results in UTF-8 with line feeds. Uses colors only if `isConsole` is set. Writes a failure as one line to
/// `err`. Returns the exit code (`ExitCode`).
int RunFilterCheck(const std::vector<std::wstring>& arguments, std::ostream& out, std::ostream& err,
                   bool isConsole);

}  // namespace FilterCheck
