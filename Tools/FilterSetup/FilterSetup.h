#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace FilterSetup {

/// Runs the program: parses the arguments (without the program name), requires administrative rights, and
/// runs the command. Writes each change as one line to `out`, and each failure as one line to `err`, in UTF-8
/// with line feeds. Returns the exit code (`ExitCode`).
int RunFilterSetup(const std::vector<std::wstring>& arguments, std::ostream& out, std::ostream& err);

}  // namespace FilterSetup
