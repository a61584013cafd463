#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace SignedRequest {

/// Runs the program: parses the arguments (without the program name), signs the request with the configured
/// keys, shows it on `out` and, with `--send`, sends it. Writes the request byte for byte and everything else
/// in UTF-8 with line feeds. Writes a failure as one line to `err`. Returns the exit code (`ExitCode`).
int RunSignedRequest(const std::vector<std::wstring>& arguments, std::ostream& out, std::ostream& err);

}  // namespace SignedRequest
