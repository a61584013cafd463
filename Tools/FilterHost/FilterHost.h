#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace FilterHost {

/// Runs the program: reads the arguments, the program's name not among them, asks the filter and writes the
/// answer, in UTF-8 with line feeds alone. Reports a failure in one line on `err`. Returns the exit code
/// (`ExitCode`).
int RunFilterHost(const std::vector<std::wstring>& arguments, std::ostream& out, std::ostream& err);

}  // namespace FilterHost
