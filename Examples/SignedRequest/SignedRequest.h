#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace SignedRequest {

/// Does all that the program does: reads the arguments, the program's name not among them, signs the
/// request with the configured keys, shows it and, if told to, sends it. The request is shown byte for
/// byte, all else in UTF-8 with bare line feeds. A failure is one line on `err`. Returns the exit code
/// (`ExitCode`).
int RunSignedRequest(const std::vector<std::wstring>& arguments, std::ostream& out, std::ostream& err);

}  // namespace SignedRequest
