#include "KuvAuth/Signing/Signer.h"

#include <algorithm>
#include <utility>

#include "KuvAuth/ServiceClient/Encoders.h"
#include "KuvAuth/ServiceClient/SignatureParts.h"
#include "KuvAuth/Signing/ContentTypes.h"
#include "KuvAuth/Signing/FieldRules.h"
#include "KuvAuth/Signing/SignatureEngine.h"

namespace Kuv::Signing {

namespace {

Failure FailEmptySecret() {
  return {.reason = Reason::Empty, .field = "secretKey"};
}

Result<std::string> ResolveDate(const Request& request) {
  if (request.date) return *request.date;
  std::string date;
  Util::FailedCall failed{"WinHttpTimeFromSystemTime", 0};
  if (!Util::FormatCurrentDate(date, &failed) || CheckDate(date)) {
    return Failure{
        .reason = Reason::PlatformCallFailed, .field = "date", .call = failed.function, .code = failed.code};
  }
  return date;
}

// Returns the number of parameters without a value in a text of `BuildParameterString`.
std::size_t CountEmptyValues(const std::string& text) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '=' && (i + 1 == text.size() || text[i + 1] == '&')) ++count;
  }
  return count;
}

// A value that cannot be converted is empty in the text, which must not be sent then.
Result<std::string> FormatParameters(const Util::ParameterList& parameters) {
  std::string text = Util::BuildParameterString(parameters, {});
  const auto empty = std::count_if(parameters.begin(), parameters.end(),
                                   [](const auto& parameter) { return parameter.second.empty(); });
  if (CountEmptyValues(text) != static_cast<std::size_t>(empty)) {
    return Failure{
        .reason = Reason::PlatformCallFailed, .field = "parameters", .call = "WideCharToMultiByte"};
  }
  return text;
}

// Sets the body, the content type and the text to sign. `request.target` is the path.
std::optional<Failure> AddJson(SignatureEngine& engine, const SignedFields& fields, const JsonBody& body,
                               SignedRequest& request) {
  Result<std::string> text = engine.JsonText(fields, body.text);
  if (!text) return text.GetFailure();
  request.canonicalText = std::move(*text);
  request.body = body.text;
  request.contentType = kJsonType;
  return std::nullopt;
}

// Does the same, but adds parameters to the target if the method has no body.
std::optional<Failure> AddParameters(const SignedFields& fields, const Util::ParameterList& parameters,
                                     SignedRequest& request) {
  Result<std::string> text = FormatParameters(parameters);
  if (!text) return text.GetFailure();
  request.canonicalText = ParameterText(fields, *text);
  if (!HasNoBody(request.method)) {
    request.body = std::move(*text);
    request.contentType = kParameterType;
  } else if (!text->empty()) {
    request.target.append("?").append(*text);
  }
  return std::nullopt;
}

Result<SignedRequest> SignWith(SignatureEngine& engine, const Request& request,
                               const Credentials& credentials) {
  if (credentials.SecretKey().IsEmpty()) return FailEmptySecret();
  if (std::optional<Failure> failure = CheckRequest(request)) return *std::move(failure);
  Result<std::string> date = ResolveDate(request);
  if (!date) return date.GetFailure();
  const SignedFields fields{
      .date = *std::move(date), .method = request.method, .host = credentials.Host(), .path = request.path};

  SignedRequest result{.method = request.method, .host = credentials.Host(), .target = request.path};
  const auto* const json = std::get_if<JsonBody>(&request.content);
  const auto* const parameters = std::get_if<Util::ParameterList>(&request.content);
  std::optional<Failure> failure;
  if (json != nullptr) failure = AddJson(engine, fields, *json, result);
  if (parameters != nullptr) failure = AddParameters(fields, *parameters, result);
  if (failure) return *std::move(failure);

  const Result<std::string> digits = engine.Sign(credentials.SecretKey(), result.canonicalText);
  if (!digits) return digits.GetFailure();
  const std::string user = credentials.IntegrationKey() + ":" + *digits;
  result.headers.reserve(3);
  result.headers.push_back({"Date", fields.date});
  result.headers.push_back({"Authorization", "Basic " + Util::Base64Encode(user.data(), user.size())});
  if (!result.contentType.empty()) result.headers.push_back({"Content-Type", result.contentType});
  return result;
}

}  // namespace

Result<SignedRequest> Sign(const Request& request, const Credentials& credentials) {
  SignatureEngine engine;
  return SignWith(engine, request, credentials);
}

struct Signer::State {
  explicit State(Credentials given) : credentials(std::move(given)) {}

  Credentials credentials;
  SignatureEngine engine;
};

Signer::Signer(Credentials credentials) : state_(std::make_unique<State>(std::move(credentials))) {}
Signer::Signer(Signer&& other) noexcept = default;
Signer& Signer::operator=(Signer&& other) noexcept = default;
Signer::~Signer() = default;

Result<SignedRequest> Signer::Sign(const Request& request) {
  if (state_ == nullptr) return FailEmptySecret();
  return SignWith(state_->engine, request, state_->credentials);
}

}  // namespace Kuv::Signing
