#include <map>
#include <optional>

#include <fuzzer/FuzzedDataProvider.h>

#include "KuvAuth/Signing/Signing.h"
#include "SigningModel.h"

namespace {

using namespace Kuv::Signing;
using KuvFuzz::Require;

struct Input {
  std::string host, user, key, method, path, content;
  std::optional<std::string> date;
  bool isJson;
  std::map<std::string, std::wstring> parameters;
};

// Returns a valid text most of the time, so that the later checks are reached.
std::string Pick(FuzzedDataProvider& input, const char* valid) {
  return input.ConsumeIntegralInRange(0, 3) == 0 ? input.ConsumeRandomLengthString() : valid;
}

Input Consume(FuzzedDataProvider& source) {
  Input input;
  input.host = Pick(source, "auth.kuv.example");
  input.user = Pick(source, "user");
  input.key = Pick(source, "key");
  input.method = Pick(source, source.ConsumeBool() ? "GET" : "POST");
  input.path = Pick(source, "/v1/auth");
  if (source.ConsumeBool()) input.date = Pick(source, "x");
  input.isJson = source.ConsumeBool();
  if (input.isJson) {
    input.content = source.ConsumeRandomLengthString();
    return input;
  }
  while (source.remaining_bytes() != 0) {
    const std::string name = source.ConsumeRandomLengthString();
    std::wstring value;
    for (const char character : source.ConsumeRandomLengthString())
      value += static_cast<unsigned char>(character);
    // The ends of the ranges of surrogates.
    constexpr wchar_t kUnits[] = {0xD7FF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000};
    for (int count = source.ConsumeIntegralInRange(0, 3); count != 0; --count)
      value += source.PickValueInArray(kUnits);
    input.parameters[name] = value;
  }
  return input;
}

bool IsValue(const std::wstring& value) {
  bool afterHigh = false;
  for (const wchar_t unit : value) {
    if (unit == 0) return false;
    const bool isLow = unit >= 0xDC00 && unit < 0xE000;
    if (isLow != afterHigh) return false;
    afterHigh = unit >= 0xD800 && unit < 0xDC00;
  }
  return !afterHigh;
}

// Returns the field that is refused, or nothing.
std::string RefusedField(const Input& input) {
  if (!KuvFuzz::IsMethod(input.method)) return "method";
  if (!KuvFuzz::IsPath(input.path)) return "path";
  if (input.date && !KuvFuzz::IsDate(*input.date)) return "date";
  for (const auto& [name, value] : input.parameters) {
    if (!IsValue(value)) return "parameters." + KuvFuzz::PlainPercent(name);
  }
  const bool hasNoBody = input.method == "GET" || input.method == "HEAD" || input.method == "DELETE";
  if (input.isJson && hasNoBody) return "body";
  if (input.isJson && input.content.starts_with('!')) return "body";
  for (const auto& [name, value] : input.parameters) {
    // The stub's form of a failed conversion.
    if (KuvFuzz::StubNarrow(value).starts_with('\0')) return "parameters";
  }
  return input.key.starts_with('!') ? "signature" : "";
}

std::string PlainParameters(const Input& input) {
  std::string text;
  for (const auto& [name, value] : input.parameters) {
    if (!text.empty()) text += "&";
    text += KuvFuzz::PlainPercent(name) + "=" + KuvFuzz::PlainPercent(KuvFuzz::StubNarrow(value));
  }
  return text;
}

std::string Lower(std::string text) {
  for (char& character : text) {
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character + 32);
  }
  return text;
}

void CheckSigned(const Input& input, const SignedRequest& result) {
  const std::string date = input.date.value_or(KuvFuzz::kStubDate);
  const std::string content = input.isJson ? input.content : PlainParameters(input);
  const std::string text =
      KuvFuzz::PlainCanonical(date, input.method, Lower(input.host), input.path, content, input.isJson);
  Require(result.canonicalText == text, "text to sign");
  const bool hasNoBody = input.method == "GET" || input.method == "HEAD" || input.method == "DELETE";
  const std::string type = input.isJson ? "application/json" : "application/x-www-form-urlencoded";
  Require(result.method == input.method, "method");
  Require(result.host == Lower(input.host), "host");
  Require(result.target == input.path + (hasNoBody && !content.empty() ? "?" + content : ""), "target");
  Require(result.body == (hasNoBody ? "" : content), "body");
  Require(result.contentType == (hasNoBody ? "" : type), "content type");
  const std::string authorization = KuvFuzz::PlainAuthorization(input.key, input.user, text);
  std::string block = "Date: " + date + "\r\nAuthorization: Basic " + authorization + "\r\n";
  if (!hasNoBody) block += "Content-Type: " + type + "\r\n";
  Require(result.HeaderBlock() == block, "headers");
  Require(result.HeaderLines().size() == (hasNoBody ? 2u : 3u), "header lines");
}

void CheckResult(const Input& input, const Result<SignedRequest>& result) {
  const std::string refused = RefusedField(input);
  Require(result.HasValue() == refused.empty(), "refusal");
  if (result) {
    CheckSigned(input, *result);
    return;
  }
  Require(result.GetFailure().field == refused, "field");
  // The stub has a code for the cryptography only.
  const bool hasCode = result.GetFailure().code != 0;
  Require(!hasCode || result.GetFailure().reason == Reason::PlatformCallFailed, "reason");
  Require(hasCode || refused != "signature", "code");
  Require(KuvFuzz::HasOnly(result.GetFailure().Describe(), KuvFuzz::VisibleWithout("") + " "), "description");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider source{data, size};
  const Input input = Consume(source);
  Result<Credentials> credentials = Credentials::FromValues(
      {.host = input.host, .integrationKey = input.user, .secretKey = Secret{input.key}});
  const bool valid = KuvFuzz::IsHost(input.host) && KuvFuzz::IsUser(input.user) && !input.key.empty();
  Require(credentials.HasValue() == valid, "credentials");
  if (!credentials) return 0;

  Request request{.method = input.method, .path = input.path, .date = input.date};
  if (input.isJson) {
    request.content = JsonBody{input.content};
  } else {
    request.content = input.parameters;
  }
  CheckResult(input, Sign(request, *credentials));
  Signer signer{*std::move(credentials)};
  CheckResult(input, signer.Sign(request));
  CheckResult(input, signer.Sign(request));
  return 0;
}
