#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace FilterCheck {

/// Does all that the program does: reads the arguments, the program's name not among them, looks at the
/// machine and writes what it found, in UTF-8 with bare line feeds; in colour only if `isConsole`. A failure
/// is one line on `err`. Returns the exit code (`ExitCode`).
int RunFilterCheck(const std::vector<std::wstring>& arguments, std::ostream& out, std::ostream& err,
                   bool isConsole);

}  // namespace FilterCheck
