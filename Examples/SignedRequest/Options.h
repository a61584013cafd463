#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "SignedRequest/Sender.h"
#include <KuvAuth/ServiceClient/KuvAuthUtil.h>

namespace SignedRequest {

/// The options of the command line.
struct Options {
  bool help = false;
  std::string method;  ///< letters
  std::string host;    ///< with an optional ":port"
  std::string path;    ///< starts with "/"; percent-encoded
  Kuv::Util::ParameterList parameters;
  Kuv::Util::MaskedNameSet masked;  ///< percent-encoded, as `BuildParameterString` compares them
  std::optional<std::string> json;  ///< the body, instead of the parameters
  std::optional<std::string> date;  ///< the current time if empty
  std::optional<Address> sendTo;
};

/// Returns whether a request of this method sends its parameters after the path instead of in a body.
bool HasNoBody(const std::string& method);

/// Parses the arguments without the program name. Throws `ExampleError`.
Options ParseOptions(const std::vector<std::wstring>& arguments);

/// Writes the help text.
void PrintUsage(std::ostream& out);

}  // namespace SignedRequest
