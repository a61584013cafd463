#include <gtest/gtest.h>

#include "../ServiceClient/CorpusFile.h"
#include "KuvAuth/ServiceClient/KuvAuthUtil.h"
#include "SignFixture.h"

// The results of Python's library and of the plain functions for thousands of random inputs.
namespace {

using namespace Kuv::Signing;
using namespace KuvTest;
using namespace Kuv::Util;

class SignCorpus : public SignRequest {
 protected:
  // Signs with the function and with a signer, which must agree.
  SignedRequest SignBoth(const Request& request) {
    const Result<SignedRequest> result = Sign(request, credentials);
    EXPECT_TRUE(result) << result.GetFailure().Describe();
    EXPECT_EQ(signer.Sign(request)->HeaderBlock(), result->HeaderBlock());
    return *result;
  }

  Signer signer{SampleCredentials()};
};

TEST_F(SignCorpus, HasTheParametersOfThePlainFunction) {
  const std::vector<CorpusFields> cases = ReadCorpus(KUV_CORPUS, "parameters");
  EXPECT_EQ(cases.size(), 600u);
  for (const CorpusFields& fields : cases) {
    const CorpusParameters parameters{fields};
    const std::string text = BuildParameterString(parameters.list, {});
    const std::string canonical = BuildAuthorizationSignature(kDate, "POST", kHost, "/v1/auth", text);
    Request request = SampleRequest();
    request.content = parameters.list;
    const SignedRequest result = SignBoth(request);
    ASSERT_EQ(result.body, text);
    ASSERT_EQ(result.canonicalText, canonical);
    ASSERT_EQ("Authorization: " + result.headers[1].value + "\r\n",
              BuildHmacAuthorizationHeader(kKey, kUser, canonical));
    const std::vector<std::string> names{parameters.masked.begin(), parameters.masked.end()};
    ASSERT_EQ(MaskedForLog(request, names), "POST /v1/auth" + (text.empty() ? "" : " " + fields.back()));
    ASSERT_EQ(MaskedForLog(result, names), "POST /v1/auth" + (text.empty() ? "" : " " + fields.back()));
  }
}

// Fields of the corpus that a request cannot contain are percent-encoded here.
TEST_F(SignCorpus, HasTheTextsOfThePlainFunctions) {
  std::vector<CorpusFields> cases = ReadCorpus(KUV_CORPUS, "json");
  EXPECT_EQ(cases.size(), 150u);
  for (const CorpusFields& fields : cases) {
    const Request request{.method = "POST",
                          .path = "/" + PercentEncode(fields[3]),
                          .content = JsonBody{fields[4]},
                          .date = "d" + PercentEncode(fields[0])};
    const SignedRequest result = SignBoth(request);
    const std::string canonical =
        BuildJsonAuthorizationSignature(*request.date, "POST", kHost, request.path, fields[4]);
    ASSERT_EQ(result.canonicalText, canonical);
    ASSERT_TRUE(result.canonicalText.ends_with(fields.back().substr(fields.back().size() - 130)));
    ASSERT_EQ("Authorization: " + result.headers[1].value + "\r\n",
              BuildHmacAuthorizationHeader(kKey, kUser, canonical));
  }
}

TEST_F(SignCorpus, HasTheHeadersOfThePlainFunctionForAllKeys) {
  int allowed = 0;
  const std::vector<CorpusFields> cases = ReadCorpus(KUV_CORPUS, "header");
  EXPECT_EQ(cases.size(), 200u);
  for (const CorpusFields& fields : cases) {
    const std::string& user = fields[1];
    const bool isValid = !user.empty() && user.find_first_of(std::string(":\n\0", 3)) == std::string::npos;
    const Result<Credentials> own =
        Credentials::FromValues({.host = kHost, .integrationKey = user, .secretKey = Secret{fields[0]}});
    ASSERT_EQ(own.HasValue(), isValid);
    if (!own) continue;
    ++allowed;
    const Result<SignedRequest> result = Sign(SampleRequest(), *own);
    ASSERT_EQ("Authorization: " + result->headers[1].value + "\r\n",
              BuildHmacAuthorizationHeader(fields[0], user, result->canonicalText));
  }
  EXPECT_GT(allowed, 20);
}

}  // namespace
