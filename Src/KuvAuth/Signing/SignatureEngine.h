#pragma once

#include <string>
#include <string_view>

#include "KuvAuth/ServiceClient/HashCalls.h"
#include "KuvAuth/Signing/Result.h"
#include "KuvAuth/Signing/Secret.h"

namespace Kuv::Signing {

/// The number of digits of a signature.
inline constexpr std::size_t kSignatureDigits = 40;

/// The first four lines of a text to sign.
struct SignedFields {
  std::string date{};
  std::string method{};
  std::string host{};
  std::string path{};
};

/// Computes signatures. Keeps the contexts of the platform open once they are used.
class SignatureEngine {
 public:
  /// Returns the text to sign for a request with a JSON body.
  Result<std::string> JsonText(const SignedFields& fields, std::string_view body);
  /// Returns the 40 upper-case digits of the signature of a text. The key is not empty.
  Result<std::string> Sign(const Secret& key, const std::string& text);

 private:
  Util::ProviderContext hmacProvider_;
  Util::ProviderContext digestProvider_;
};

/// Returns the text to sign for a request with parameters.
std::string ParameterText(const SignedFields& fields, const std::string& parameters);

}  // namespace Kuv::Signing
