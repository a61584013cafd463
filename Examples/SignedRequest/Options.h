#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "SignedRequest/Sender.h"
#include <KuvAuth/Signing/Signing.h>

namespace SignedRequest {

/// The options of the command line.
struct Options {
  bool help = false;
  Kuv::Signing::Request request;    ///< not checked: the library refuses what it cannot sign
  std::vector<std::string> masked;  ///< names of parameters that are not shown for a log
  std::optional<Address> sendTo;
};

/// Parses the arguments without the program name. Throws `ExampleError`.
Options ParseOptions(const std::vector<std::wstring>& arguments);

/// Writes the help text.
void PrintUsage(std::ostream& out);

}  // namespace SignedRequest
