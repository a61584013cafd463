#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "SignedRequest/Sender.h"
#include <KuvAuth/ServiceClient/KuvAuthUtil.h>

namespace SignedRequest {

/// What the command line asks for.
struct Options {
  bool help = false;
  std::string method;  ///< letters
  std::string host;    ///< with ":port" if need be
  std::string path;    ///< starts with "/" and stands as it travels
  Kuv::Util::ParameterList parameters;
  Kuv::Util::MaskedNameSet masked;  ///< percent-encoded, as `BuildParameterString` compares them
  std::optional<std::string> json;  ///< the body, which takes the place of the parameters
  std::optional<std::string> date;  ///< without it the date of the moment
  std::optional<Address> sendTo;
};

/// Whether a request of this method carries its parameters behind the path and not in a body.
bool HasNoBody(const std::string& method);

/// Reads the arguments, the program's name not among them. Throws `ExampleError`.
Options ParseOptions(const std::vector<std::wstring>& arguments);

void PrintUsage(std::ostream& out);

}  // namespace SignedRequest
