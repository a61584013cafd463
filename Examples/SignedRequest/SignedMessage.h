#pragma once

#include <string>

#include "SignedRequest/Options.h"

namespace SignedRequest {

/// A request that is ready to send.
struct SignedMessage {
  std::string method;
  std::string target;  ///< the path and, for a method without a body, the parameters
  std::string host;
  std::string headers;  ///< lines that end in CR LF, without those for the host and the length of the body
  std::string body;
  std::string signedText;       ///< the text that is signed
  std::string shownParameters;  ///< the parameters with masked values, for display
};

/// Builds and signs the request with the keys from the configuration, which must be loaded. Throws
/// `ExampleError`.
SignedMessage SignRequest(const Options& options);

/// Returns the request line and the headers.
std::string RequestHead(const SignedMessage& message);

}  // namespace SignedRequest
