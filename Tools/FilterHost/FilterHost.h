#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace FilterHost {

/// Does all that the program does: reads the arguments, the program's name not among them, asks the filter
/// and writes the answer, in UTF-8 with bare line feeds. A failure is one line on `err`. Returns the
/// exit code (`ExitCode`).
int RunFilterHost(const std::vector<std::wstring>& arguments, std::ostream& out, std::ostream& err);

}  // namespace FilterHost
