// Compares the signing layer with the plain functions for the same request, and a signer that keeps its
// contexts with signing request by request.

#include <windows.h>

#include <stdexcept>
#include <string>

#include "KuvAuth/ServiceClient/HashCalls.h"
#include "KuvAuth/ServiceClient/KuvAuthUtil.h"
#include "KuvAuth/Signing/Signing.h"
#include "Support/Comparison.h"

namespace {

using Kuv::Util::ParameterList;
using KuvBench::Compare;
using KuvBench::Goal;
using KuvBench::Repeat;
using namespace Kuv::Signing;

constexpr Goal kLayer{1.10};
// The gain of contexts that stay open.
constexpr Goal kGain{0.10};

const std::string kHost = "auth.kuv.example";
const std::string kMethod = "POST";
const std::string kPath = "/v1/auth";
const std::string kUser = "SAMPLECLIENTIDENTIFIER";
const std::string kKey = "0123456789abcdef0123456789abcdef01234567";
const std::string kFormType = "application/x-www-form-urlencoded";
const std::string kJsonType = "application/json";

const ParameterList kParameters{{"device", L"auto"},
                                {"factor", L"push"},
                                {"ipaddr", L"192.0.2.77"},
                                {"pushinfo", L"from=login portal&domain=kuv.example"},
                                {"type", L"Kuv Windows Logon"},
                                {"username", L"KUV\\Zo\u00EB Smith"}};
const std::string kBody =
    R"({"device":"auto","factor":"push","ipaddr":"192.0.2.77","type":"Kuv Windows Logon"})";

Request FormRequest() {
  return {.method = kMethod, .path = kPath, .content = kParameters};
}

Request JsonRequest() {
  return {.method = kMethod, .path = kPath, .content = JsonBody{kBody}};
}

Credentials OwnCredentials() {
  return Credentials::FromValues({.host = kHost, .integrationKey = kUser, .secretKey = Secret{kKey}}).Value();
}

// What a client keeps of a request that it signs with the plain functions.
struct PlainRequest {
  std::string headers;
  std::string body;
};

PlainRequest SignPlainForm() {
  std::string date;
  std::string headers = Kuv::Util::BuildDateHeader(&date);
  std::string parameters = Kuv::Util::BuildParameterString(kParameters, {});
  const std::string text = Kuv::Util::BuildAuthorizationSignature(date, kMethod, kHost, kPath, parameters);
  headers += Kuv::Util::BuildHmacAuthorizationHeader(kKey, kUser, text);
  headers += Kuv::Util::BuildHeaderLine("Content-Type", kFormType);
  return {std::move(headers), std::move(parameters)};
}

PlainRequest SignPlainJson() {
  std::string date;
  std::string headers = Kuv::Util::BuildDateHeader(&date);
  const std::string text = Kuv::Util::BuildJsonAuthorizationSignature(date, kMethod, kHost, kPath, kBody);
  headers += Kuv::Util::BuildHmacAuthorizationHeader(kKey, kUser, text);
  headers += Kuv::Util::BuildHeaderLine("Content-Type", kJsonType);
  return {std::move(headers), kBody};
}

// The plain functions with a context that stays open, to show the cost of the layer without that of the
// contexts.
PlainRequest SignPlainFormWithOpenContext(Kuv::Util::ProviderContext& provider) {
  std::string date;
  std::string headers = Kuv::Util::BuildDateHeader(&date);
  std::string parameters = Kuv::Util::BuildParameterString(kParameters, {});
  const std::string text = Kuv::Util::BuildAuthorizationSignature(date, kMethod, kHost, kPath, parameters);
  const std::vector<std::uint8_t> hmac = Kuv::Util::ComputeHmac(provider, kKey.data(), kKey.size(),
                                                                text.data(), text.size(), /*failed=*/nullptr);
  const std::string user = kUser + ":" + Kuv::Util::AtlHexEncode(hmac.data(), hmac.size());
  headers += "Authorization: Basic " + Kuv::Util::Base64Encode(user.data(), user.size()) + "\r\n";
  headers += Kuv::Util::BuildHeaderLine("Content-Type", kFormType);
  return {std::move(headers), std::move(parameters)};
}

template <typename Operation>
KuvBench::Work RepeatKept(Operation operation) {
  return Repeat([operation] {
    auto result = operation();
    benchmark::DoNotOptimize(result);
  });
}

// Fails the comparison if the layer does not sign, which would be fast.
bool Signs(benchmark::State& state, const Result<SignedRequest>& result) {
  if (!result) state.SkipWithError(result.GetFailure().Describe().c_str());
  return result.HasValue();
}

void SignForm(benchmark::State& state) {
  const Credentials credentials = OwnCredentials();
  const Request request = FormRequest();
  if (!Signs(state, Sign(request, credentials))) return;
  Compare(state, {"plain functions", kLayer, RepeatKept([&] { return Sign(request, credentials); }),
                  RepeatKept(SignPlainForm)});
}
BENCHMARK(SignForm)->Apply(KuvBench::InLongBatches);

void SignJson(benchmark::State& state) {
  const Credentials credentials = OwnCredentials();
  const Request request = JsonRequest();
  if (!Signs(state, Sign(request, credentials))) return;
  Compare(state, {"plain functions", kLayer, RepeatKept([&] { return Sign(request, credentials); }),
                  RepeatKept(SignPlainJson)});
}
BENCHMARK(SignJson)->Apply(KuvBench::InLongBatches);

void SignerForm(benchmark::State& state) {
  const Credentials credentials = OwnCredentials();
  Signer signer{OwnCredentials()};
  const Request request = FormRequest();
  if (!Signs(state, signer.Sign(request))) return;
  Compare(state, {"plain functions", kGain, RepeatKept([&] { return signer.Sign(request); }),
                  RepeatKept(SignPlainForm)});
}
BENCHMARK(SignerForm)->Apply(KuvBench::InLongBatches);

void SignerJson(benchmark::State& state) {
  Signer signer{OwnCredentials()};
  const Request request = JsonRequest();
  if (!Signs(state, signer.Sign(request))) return;
  Compare(state, {"plain functions", kGain, RepeatKept([&] { return signer.Sign(request); }),
                  RepeatKept(SignPlainJson)});
}
BENCHMARK(SignerJson)->Apply(KuvBench::InLongBatches);

void SignerFormOpenContext(benchmark::State& state) {
  Signer signer{OwnCredentials()};
  Kuv::Util::ProviderContext provider;
  const Request request = FormRequest();
  if (!Signs(state, signer.Sign(request))) return;
  Compare(state, {"plain functions, context open", kLayer, RepeatKept([&] { return signer.Sign(request); }),
                  RepeatKept([&] { return SignPlainFormWithOpenContext(provider); })});
}
BENCHMARK(SignerFormOpenContext)->Apply(KuvBench::InLongBatches);

}  // namespace
