#include "KuvAuth/Signing/Credentials.h"

#include "KuvAuth/Signing/FieldRules.h"
#include "KuvAuth/Support/Text.h"

namespace Kuv::Signing {

Result<Credentials> Credentials::FromValues(CredentialValues values) {
  if (const auto reason = CheckHost(values.host)) return Failure{.reason = *reason, .field = "host"};
  if (values.port == 0) return Failure{.reason = Reason::OutOfRange, .field = "port"};
  if (const auto reason = CheckIntegrationKey(values.integrationKey))
    return Failure{.reason = *reason, .field = "integrationKey"};
  if (values.secretKey.IsEmpty()) return Failure{.reason = Reason::Empty, .field = "secretKey"};
  if (values.secretKey.ExposeForSigning().size() > kMaximumSize)
    return Failure{.reason = Reason::TooLong, .field = "secretKey"};
  values.host = ToLowerAscii(values.host);
  return Credentials{std::move(values)};
}

}  // namespace Kuv::Signing
