#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include <KuvAuth/Signing/Signing.h>

namespace SignedRequest {

/// Returns the credentials to sign with.
using LoadCredentials = std::function<Kuv::Signing::Result<Kuv::Signing::Credentials>()>;

/// Runs the program: parses the arguments (without the program name), signs the request, shows it on `out`
/// and, with `--send`, sends it. Writes the request byte for byte and everything else in UTF-8 with line
/// feeds. Writes a failure as one line to `err`. Throws nothing. Returns the exit code (`ExitCode`).
int RunSignedRequest(const std::vector<std::wstring>& arguments, const LoadCredentials& load,
                     std::ostream& out, std::ostream& err);

}  // namespace SignedRequest
