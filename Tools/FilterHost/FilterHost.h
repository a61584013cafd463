#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace FilterHost {

/// Runs the program: parses the arguments (without the program name), calls the filter and writes the results
/// in UTF-8 with line feeds. Writes a failure as one line to `err`. Returns the exit code (`ExitCode`).
int RunFilterHost(const std::vector<std::wstring>& arguments, std::ostream& out, std::ostream& err);

}  // namespace FilterHost
