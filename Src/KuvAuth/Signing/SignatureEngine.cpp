#include "KuvAuth/Signing/SignatureEngine.h"

#include "KuvAuth/ServiceClient/AuthorizationSignature.h"
#include "KuvAuth/ServiceClient/Encoders.h"
#include "KuvAuth/ServiceClient/SignatureParts.h"

namespace Kuv::Signing {

namespace {

constexpr std::size_t kDigestBytes = 64;

Failure FailCall(const Util::FailedCall& failed, const char* field) {
  // Without a failed call, the value that was read has a wrong length.
  return {.reason = Reason::PlatformCallFailed,
          .field = field,
          .call = failed.function == nullptr ? "CryptGetHashParam" : failed.function,
          .code = failed.code};
}

}  // namespace

Result<std::string> SignatureEngine::JsonText(const SignedFields& fields, std::string_view body) {
  Util::FailedCall failed;
  const auto bytes = Util::AsBytes(body);
  const auto digest =
      Util::ComputeDigest(digestProvider_, bytes.data(), bytes.size(), Util::kSha512, &failed);
  if (digest.size() != kDigestBytes) return FailCall(failed, "body");
  return Util::JoinJsonSignature(fields.date, fields.method, fields.host, fields.path, digest);
}

Result<std::string> SignatureEngine::Sign(const Secret& key, const std::string& text) {
  Util::FailedCall failed;
  const auto bytes = key.ExposeForSigning();
  const auto hmac =
      Util::ComputeHmac(hmacProvider_, bytes.data(), bytes.size(), text.data(), text.size(), &failed);
  if (2 * hmac.size() != kSignatureDigits) return FailCall(failed, "signature");
  return Util::BytesToHexString(hmac.data(), hmac.size());
}

std::string ParameterText(const SignedFields& fields, const std::string& parameters) {
  return Util::BuildAuthorizationSignature(fields.date, fields.method, fields.host, fields.path, parameters);
}

}  // namespace Kuv::Signing
