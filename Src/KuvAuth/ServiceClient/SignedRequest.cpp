#include "KuvAuth/ServiceClient/SignedRequest.h"

#include <cstdint>
#include <vector>

#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/ServiceClient/Encoders.h"
#include "KuvAuth/ServiceClient/Hashing.h"

namespace Kuv::Util {

namespace {

// The digits are in upper case, unlike those of the digest of a body (`BuildJsonAuthorizationSignature`).
std::string CalculateKuvHash(const std::string& key, const std::string& text) {
  const std::vector<std::uint8_t> hmac = CalculateHmac(key, text);
  if (hmac.empty()) {
    KUV_LOG(LogLevel::Error, "CalculateHmac failed");
    return {};
  }
  std::string hash = AtlHexEncode(hmac.data(), hmac.size());
  if (hash.empty()) KUV_LOG(LogLevel::Error, "HexEncode failed");
  return hash;
}

}  // namespace

std::string BuildHeaderLine(const std::string& name, const std::string& value) {
  return name + ": " + value + "\r\n";
}

std::string BuildHmacAuthorizationHeader(const std::string& key, const std::string& user,
                                         const std::string& text) {
  const std::string hash = CalculateKuvHash(key, text);
  if (hash.empty()) {
    KUV_LOG(LogLevel::Error, "CalculateKuvHash failed");
    return {};
  }
  const std::string credentials = user + ":" + hash;
  const std::string encoded = Base64Encode(credentials.data(), credentials.size());
  if (encoded.empty()) {
    KUV_LOG(LogLevel::Error, "Base64Encode failed");
    return {};
  }
  return "Authorization: Basic " + encoded + "\r\n";
}

std::string BuildAuthorizationHeader(const std::string& text) {
  const Configuration& configuration = *GetConfiguration();
  return BuildHmacAuthorizationHeader(configuration.SKey, configuration.IKey, text);
}

bool IsJsonContentType(const std::string& contentType) {
  return contentType.find("application/json") != std::string::npos;
}

}  // namespace Kuv::Util
