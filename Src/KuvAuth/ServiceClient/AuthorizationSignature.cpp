#include "KuvAuth/ServiceClient/AuthorizationSignature.h"

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/ServiceClient/Encoders.h"
#include "KuvAuth/ServiceClient/Hashing.h"
#include "KuvAuth/ServiceClient/SignatureParts.h"
#include "KuvAuth/Support/Text.h"

namespace Kuv::Util {

std::string BuildAuthorizationSignature(const std::string& first, const std::string& second,
                                        const std::string& third, const std::string& fourth,
                                        const std::string& parameters) {
  std::string text;
  if (!first.empty()) text.append(first).append("\n");
  for (const std::string* field : {&second, &third, &fourth}) text.append(*field).append("\n");
  return text.append(parameters);
}

std::string BuildJsonAuthorizationSignature(const std::string& first, const std::string& second,
                                            const std::string& third, const std::string& fourth,
                                            const std::string& body) {
  const std::vector<std::uint8_t> digest = CryptoHash(body, kSha512);
  if (digest.empty()) {
    KUV_LOG(LogLevel::Error, "BuildJsonAuthorizationSignature failed.");
    return {};
  }
  return JoinJsonSignature(first, second, third, fourth, digest);
}

std::string JoinJsonSignature(const std::string& first, const std::string& second, const std::string& third,
                              const std::string& fourth, const std::vector<std::uint8_t>& digest) {
  // An empty line replaces the parameters of the other format. The digest is in lower case, unlike
  // the hash in the authorization header.
  return BuildAuthorizationSignature(first, second, third, fourth, /*parameters=*/"\n") +
         ToLowerAscii(AtlHexEncode(digest.data(), digest.size()));
}

}  // namespace Kuv::Util
