#pragma once

#include <string>

#include "SignedRequest/Options.h"

namespace SignedRequest {

/// A request that is ready to travel.
struct SignedMessage {
  std::string method;
  std::string target;  ///< path and, with a method that has no body, the parameters
  std::string host;
  std::string headers;  ///< lines that end in CR LF, but not those for host and length of the body
  std::string body;
  std::string signedText;       ///< what the signature was made over
  std::string shownParameters;  ///< parameter text with masked values, for a log or a screen
};

/// Builds and signs the request with the keys of the configuration, which must be loaded. Throws
/// `ExampleError`.
SignedMessage SignRequest(const Options& options);

/// Gives all that travels before the body.
std::string RequestHead(const SignedMessage& message);

}  // namespace SignedRequest
