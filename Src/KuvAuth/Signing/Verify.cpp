#include "KuvAuth/Signing/Verify.h"

#include <string>

#include "KuvAuth/Signing/BasicAuthorization.h"
#include "KuvAuth/Signing/ConstantTime.h"
#include "KuvAuth/Signing/FieldRules.h"
#include "KuvAuth/Signing/HttpDate.h"
#include "KuvAuth/Signing/SignatureEngine.h"
#include "KuvAuth/Signing/SizeSum.h"

namespace Kuv::Signing {

namespace {

using std::chrono::seconds;
using std::chrono::sys_seconds;

bool IsWithin(sys_seconds date, sys_seconds now, seconds allowedSkew) noexcept {
  if (allowedSkew < seconds::zero()) return false;
  // Unsigned, because the difference of two signed numbers can overflow.
  const auto dateCount = static_cast<std::uint64_t>(date.time_since_epoch().count());
  const auto nowCount = static_cast<std::uint64_t>(now.time_since_epoch().count());
  const std::uint64_t distance = now > date ? nowCount - dateCount : dateCount - nowCount;
  return distance <= static_cast<std::uint64_t>(allowedSkew.count());
}

std::string_view TextOf(const ReceivedRequest& request) noexcept {
  if (const auto* const json = std::get_if<ReceivedJson>(&request.content)) return json->text;
  if (const auto* const parameters = std::get_if<ReceivedParameters>(&request.content))
    return parameters->text;
  return {};
}

bool IsTooLong(const ReceivedRequest& request) noexcept {
  SizeSum sum;
  for (const std::string_view text :
       {request.method, request.host, request.path, TextOf(request), request.date, request.authorization}) {
    sum.Add(text.size());
  }
  return sum.IsTooLarge();
}

Rejection JudgeFields(const ReceivedRequest& request, const Credentials& credentials) {
  if (CheckMethod(request.method)) return Rejection::Method;
  if (request.host != credentials.Host()) return Rejection::Host;
  if (CheckPath(request.path)) return Rejection::Path;
  const auto* const parameters = std::get_if<ReceivedParameters>(&request.content);
  if (parameters != nullptr && !IsParameterText(parameters->text)) return Rejection::Parameters;
  return Rejection::None;
}

Rejection JudgeDate(std::string_view text, sys_seconds now, seconds allowedSkew) {
  const std::optional<sys_seconds> date = ParseHttpDate(text);
  if (!date) return Rejection::DateFormat;
  return IsWithin(*date, now, allowedSkew) ? Rejection::None : Rejection::DateWindow;
}

Result<std::string> ComputeSignature(const ReceivedRequest& request, const Credentials& credentials) {
  const SignedFields fields{.date = std::string{request.date},
                            .method = std::string{request.method},
                            .host = std::string{request.host},
                            .path = std::string{request.path}};
  SignatureEngine engine;
  if (std::holds_alternative<ReceivedJson>(request.content)) {
    const Result<std::string> text = engine.JsonText(fields, TextOf(request));
    return text ? engine.Sign(credentials.SecretKey(), *text) : text;
  }
  return engine.Sign(credentials.SecretKey(), ParameterText(fields, std::string{TextOf(request)}));
}

Rejection JudgeAuthorization(const ReceivedRequest& request, const Credentials& credentials) {
  const std::optional<BasicAuthorization> received = ParseBasicAuthorization(request.authorization);
  const Result<std::string> signature = ComputeSignature(request, credentials);
  const bool sameIdentifier =
      received && AreEqualInConstantTime(received->identifier, credentials.IntegrationKey());
  const bool sameSignature = received && signature && AreEqualInConstantTime(received->signature, *signature);
  if (!received) return Rejection::Authorization;
  if (!sameIdentifier) return Rejection::Identifier;
  if (!signature) return Rejection::PlatformCall;
  return sameSignature ? Rejection::None : Rejection::Signature;
}

}  // namespace

Rejection ExplainRejection(const ReceivedRequest& request, const Credentials& credentials, sys_seconds now,
                           seconds allowedSkew) {
  if (credentials.SecretKey().IsEmpty()) return Rejection::Credentials;
  if (IsTooLong(request)) return Rejection::TooLong;
  // All three run in any case, so that the time does not show which of them fails.
  const Rejection fields = JudgeFields(request, credentials);
  const Rejection date = JudgeDate(request.date, now, allowedSkew);
  const Rejection authorization = JudgeAuthorization(request, credentials);
  if (fields != Rejection::None) return fields;
  if (date != Rejection::None) return date;
  return authorization;
}

Verdict Verify(const ReceivedRequest& request, const Credentials& credentials, sys_seconds now,
               seconds allowedSkew) {
  const Rejection rejection = ExplainRejection(request, credentials, now, allowedSkew);
  return rejection == Rejection::None ? Verdict::Accepted : Verdict::Rejected;
}

}  // namespace Kuv::Signing
