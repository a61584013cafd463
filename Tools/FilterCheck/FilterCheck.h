#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace FilterCheck {

/// Runs the program: reads the arguments, the program's name not among them, examines the machine and writes
/// the results, in UTF-8 with line feeds alone; in color only if `isConsole`. Reports a failure in one line
/// on `err`. Returns the exit code (`ExitCode`).
int RunFilterCheck(const std::vector<std::wstring>& arguments, std::ostream& out, std::ostream& err,
                   bool isConsole);

}  // namespace FilterCheck
