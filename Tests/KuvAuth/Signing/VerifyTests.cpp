#include "KuvAuth/Signing/Verify.h"

#include <windows.h>
#include <wincrypt.h>

#include <gtest/gtest.h>

#include "KuvAuth/ServiceClient/KuvAuthUtil.h"
#include "Samples.h"
#include "Support/ImportHook.h"
#include "Support/LogCapture.h"

namespace {

using namespace Kuv::Signing;
using namespace KuvTest;
using std::chrono::seconds;
using std::chrono::sys_seconds;

const sys_seconds kNow = *ParseHttpDate(kDate);
constexpr seconds kSkew{300};

// The texts of a received request.
struct Texts {
  explicit Texts(const SignedRequest& request, bool isJson)
      : method(request.method),
        path(request.target.substr(0, request.target.find('?'))),
        content(request.body),
        date(request.headers.at(0).value),
        authorization(request.headers.at(1).value),
        json(isJson) {
    if (path.size() < request.target.size()) content = request.target.substr(path.size() + 1);
  }

  ReceivedRequest View() const {
    ReceivedRequest request{
        .method = method, .host = host, .path = path, .date = date, .authorization = authorization};
    if (json) {
      request.content = ReceivedJson{content};
    } else {
      request.content = ReceivedParameters{content};
    }
    return request;
  }

  std::string method;
  std::string host = kHost;
  std::string path;
  std::string content;
  std::string date;
  std::string authorization;
  bool json;
};

std::string Basic(const std::string& credentials) {
  return "Basic " + Kuv::Util::Base64Encode(credentials.data(), credentials.size());
}

class VerifyRequest : public ::testing::Test {
 protected:
  ~VerifyRequest() override { EXPECT_EQ(log.Lines(), LogLines{}); }

  void Expect(const Texts& texts, Rejection rejection) const {
    EXPECT_EQ(ExplainRejection(texts.View(), credentials, kNow, kSkew), rejection);
    EXPECT_EQ(Verify(texts.View(), credentials, kNow, kSkew),
              rejection == Rejection::None ? Verdict::Accepted : Verdict::Rejected);
  }

  // Signs the texts again with the plain functions, so that only the change itself is left to reject.
  void SignAgain(Texts& texts) const {
    const std::string text = texts.json
                                 ? Kuv::Util::BuildJsonAuthorizationSignature(
                                       texts.date, texts.method, texts.host, texts.path, texts.content)
                                 : Kuv::Util::BuildAuthorizationSignature(
                                       texts.date, texts.method, texts.host, texts.path, texts.content);
    const std::string header = Kuv::Util::BuildHmacAuthorizationHeader(kKey, kUser, text);
    texts.authorization = header.substr(15, header.size() - 17);
  }

  LogCapture log;
  const Credentials credentials = SampleCredentials();
  const Texts parameters{Sign(SampleRequest(), credentials).Value(), false};
  const Texts json{Sign(SampleJson(), credentials).Value(), true};
};

TEST_F(VerifyRequest, AcceptsWhatIsSigned) {
  Expect(parameters, Rejection::None);
  Expect(json, Rejection::None);
  Request get = SampleRequest();
  get.method = "GET";
  Expect(Texts{Sign(get, credentials).Value(), false}, Rejection::None);
  get.content = Kuv::Util::ParameterList{};
  Expect(Texts{Sign(get, credentials).Value(), false}, Rejection::None);
}

TEST_F(VerifyRequest, AcceptsTheSignatureOfThePlainFunctions) {
  for (Texts texts : {parameters, json}) {
    texts.authorization.clear();
    SignAgain(texts);
    Expect(texts, Rejection::None);
  }
}

TEST_F(VerifyRequest, RejectsAnyChangeOfASignedField) {
  for (const Texts& original : {parameters, json}) {
    for (std::string Texts::*const field : {&Texts::method, &Texts::path, &Texts::content}) {
      for (std::size_t i = 1; i < (original.*field).size(); ++i) {
        Texts texts = original;
        char& character = (texts.*field)[i];
        character = character == 'A' ? 'B' : 'A';
        if (field == &Texts::path && character == '/') continue;
        Expect(texts, Rejection::Signature);
      }
    }
    Texts texts = original;
    texts.date = "Tue, 03 Nov 2026 09:30:01 GMT";
    Expect(texts, Rejection::Signature);
    texts = original;
    texts.content.clear();
    Expect(texts, Rejection::Signature);
    texts = original;
    texts.json = !texts.json;
    EXPECT_EQ(Verify(texts.View(), credentials, kNow, kSkew), Verdict::Rejected);
  }
}

TEST_F(VerifyRequest, RejectsAnotherDigitAnywhereInTheSignature) {
  const std::string header = Kuv::Util::BuildHmacAuthorizationHeader(
      kKey, kUser,
      Kuv::Util::BuildAuthorizationSignature(kDate, "POST", kHost, "/v1/auth",
                                             "factor=push&user=Zo%C3%AB%20Smith"));
  ASSERT_EQ(header, "Authorization: " + parameters.authorization + "\r\n");
  const std::string digits = "E73DE6449BE0F2CD647F2E5C6279984EEF3D7177";
  ASSERT_EQ(parameters.authorization, Basic(kUser + (":" + digits)));
  for (std::size_t i = 0; i < digits.size(); ++i) {
    std::string changed = digits;
    changed[i] = changed[i] == '0' ? '1' : '0';
    Texts texts = parameters;
    texts.authorization = Basic(kUser + (":" + changed));
    Expect(texts, Rejection::Signature);
  }
}

TEST_F(VerifyRequest, RejectsLowerCaseDigits) {
  Texts texts = parameters;
  texts.authorization = Basic(kUser + std::string{":e73de6449be0f2cd647f2e5c6279984eef3d7177"});
  Expect(texts, Rejection::Signature);
}

TEST_F(VerifyRequest, RejectsOtherCredentials) {
  const auto explain = [this](const Credentials& own) {
    return ExplainRejection(parameters.View(), own, kNow, kSkew);
  };
  EXPECT_EQ(explain(SampleCredentials("other-key")), Rejection::Signature);
  EXPECT_EQ(explain(SampleCredentials(kKey, "SAMPLECLIENTIDENTIFIEr")), Rejection::Identifier);
  EXPECT_EQ(explain(SampleCredentials(kKey, "SAMPLECLIENTIDENTIFIERS")), Rejection::Identifier);
  Credentials source = SampleCredentials();
  const Credentials moved = std::move(source);
  EXPECT_EQ(explain(source), Rejection::Credentials);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(Verify(parameters.View(), source, kNow, kSkew), Verdict::Rejected);
}

TEST_F(VerifyRequest, AcceptsDatesInTheWindowOnly) {
  const auto explain = [this](seconds offset, seconds skew) {
    return ExplainRejection(parameters.View(), credentials, kNow + offset, skew);
  };
  for (const int sign : {-1, 1}) {
    EXPECT_EQ(explain(sign * kSkew, kSkew), Rejection::None);
    EXPECT_EQ(explain(sign * (kSkew + seconds{1}), kSkew), Rejection::DateWindow);
  }
  EXPECT_EQ(explain(seconds{0}, seconds{0}), Rejection::None);
  EXPECT_EQ(explain(seconds{1}, seconds{0}), Rejection::DateWindow);
  EXPECT_EQ(explain(seconds{0}, seconds{-1}), Rejection::DateWindow);
  EXPECT_EQ(explain(seconds{0}, seconds::min()), Rejection::DateWindow);
  for (const sys_seconds now : {sys_seconds::min(), sys_seconds::max()}) {
    EXPECT_EQ(ExplainRejection(parameters.View(), credentials, now, kSkew), Rejection::DateWindow);
  }
}

TEST_F(VerifyRequest, RejectsInvalidFieldsEvenIfTheyAreSigned) {
  const std::string nul(1, '\0');
  const struct {
    std::string Texts::*field;
    std::string text;
    Rejection rejection;
  } rows[] = {
      {&Texts::method, "", Rejection::Method},
      {&Texts::method, "post", Rejection::Method},
      {&Texts::method, "POST\nx", Rejection::Method},
      {&Texts::host, "", Rejection::Host},
      {&Texts::host, "AUTH.kuv.example", Rejection::Host},
      {&Texts::host, "auth.kuv.example:443", Rejection::Host},
      {&Texts::host, "auth.kuv.example\n", Rejection::Host},
      {&Texts::host, "other.example", Rejection::Host},
      {&Texts::path, "", Rejection::Path},
      {&Texts::path, "/v1\nx", Rejection::Path},
      {&Texts::path, "/v1" + nul, Rejection::Path},
      {&Texts::path, "/v1?a=b", Rejection::Path},
      {&Texts::date, "", Rejection::DateFormat},
      {&Texts::date, "Tue, 03 Nov 2026 09:30:00 GMT\n", Rejection::DateFormat},
      {&Texts::date, "Tue, 03 Nov 2026 09:30:00 UTC", Rejection::DateFormat},
  };
  for (const auto& row : rows) {
    for (Texts texts : {parameters, json}) {
      texts.*row.field = row.text;
      SignAgain(texts);
      Expect(texts, row.rejection);
    }
  }
}

// The signed text of a JSON request must not be accepted for a request with parameters.
TEST_F(VerifyRequest, RejectsAJsonSignatureForParameters) {
  const std::string text =
      Kuv::Util::BuildJsonAuthorizationSignature(json.date, json.method, json.host, json.path, json.content);
  Texts texts = json;
  texts.json = false;
  texts.content = "\n" + text.substr(text.size() - 128);
  const Texts same = texts;
  SignAgain(texts);
  ASSERT_EQ(texts.authorization, same.authorization) << "the texts do not collide";
  Expect(texts, Rejection::Parameters);
}

TEST_F(VerifyRequest, RejectsCharactersThatParametersAreEncodedWithout) {
  for (const char* const text :
       {"a=b c", "a=b+c", "a=b\n", "a=\xC3\xA4", "a=b/", "a=b#", "?a=b", "a=b;c=d"}) {
    Texts texts = parameters;
    texts.content = text;
    SignAgain(texts);
    Expect(texts, Rejection::Parameters);
  }
  for (const char* const text : {"", "a=b", "a=%20b&c=~.-_", "&&==", "%"}) {
    Texts texts = parameters;
    texts.content = text;
    SignAgain(texts);
    Expect(texts, Rejection::None);
  }
}

TEST_F(VerifyRequest, AcceptsAnyBodyWhoseDigestIsSigned) {
  Texts texts = json;
  texts.content = std::string("\n\0\r{}", 5);
  SignAgain(texts);
  Expect(texts, Rejection::None);
}

TEST_F(VerifyRequest, ParsesTheAuthorizationStrictly) {
  const std::string digits = ":E73DE6449BE0F2CD647F2E5C6279984EEF3D7177";
  const std::string encoded = parameters.authorization.substr(6);
  for (const std::string& text : {"Basic " + encoded, "basic " + encoded, "BASIC   " + encoded}) {
    Texts texts = parameters;
    texts.authorization = text;
    Expect(texts, Rejection::None);
  }
  ASSERT_FALSE(encoded.ends_with('='));
  for (const std::string& text :
       {std::string{}, std::string{"Basic"}, std::string{"Basic "}, "Basic" + encoded, "Bearer " + encoded,
        " Basic " + encoded, "Basic\t" + encoded, "Basic " + encoded + " ", "Basic " + encoded + "=",
        "Basic " + encoded + "====", "Basic " + encoded.substr(1), "Basic *" + encoded.substr(1),
        "Basic " + encoded + "\n", Basic(digits.substr(1)), Basic(kUser + digits.substr(1)),
        Basic(kUser + digits + "0"), Basic(kUser + (":" + digits)), Basic("a:" + (kUser + digits))}) {
    Texts texts = parameters;
    texts.authorization = text;
    SCOPED_TRACE(text);
    Expect(texts, Rejection::Authorization);
  }
  Texts texts = parameters;
  texts.authorization = Basic(digits);
  Expect(texts, Rejection::Identifier);
}

TEST_F(VerifyRequest, RejectsTextsAboveTheLimitInTotal) {
  Texts texts = json;
  texts.content.assign(kMaximumSize, 'x');
  Expect(texts, Rejection::TooLong);
}

TEST_F(VerifyRequest, RejectsEverythingWhileThePlatformFails) {
  KUV_IMPORT_HOOK(acquire, CryptAcquireContextW);
  acquire.Answer([](auto&&...) { return FALSE; });
  Expect(parameters, Rejection::PlatformCall);
  Expect(json, Rejection::PlatformCall);
}

TEST_F(VerifyRequest, ComputesTheSignatureInAnyCase) {
  Texts texts = parameters;
  texts.authorization = "Basic x";
  texts.date = "x";
  texts.host = "x";
  texts.method = "x";
  KUV_IMPORT_HOOK(hash, CryptHashData);
  EXPECT_EQ(Verify(texts.View(), credentials, kNow, kSkew), Verdict::Rejected);
  EXPECT_EQ(hash.CallCount(), 1u);
}

}  // namespace
