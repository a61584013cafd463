#include "KuvAuth/ServiceClient/KuvAuthUtil.h"
#include "SignFixture.h"

namespace {

using namespace Kuv::Signing;
using namespace KuvTest;
using Kuv::Util::BuildAuthorizationSignature;
using Kuv::Util::BuildJsonAuthorizationSignature;
using Kuv::Util::BuildParameterString;
using Kuv::Util::ParameterList;

TEST_F(SignRequest, AcceptsWhatASingleLineCanContain) {
  for (const char* const method : {"POST", "M-SEARCH", "X!#$%&'*+-.^_`|~9"}) {
    Request request = SampleRequest();
    request.method = method;
    EXPECT_TRUE(Sign(request, credentials)) << method;
  }
  for (const char* const path : {"/", "/v1/a%20b;c=d,e", "/~!$&'()*+,;=:@[]{}|\\^`\"<>"}) {
    Request request = SampleRequest();
    request.path = path;
    EXPECT_TRUE(Sign(request, credentials)) << path;
  }
  for (const char* const date : {"x", "Tue, 21 Aug 2012 17:29:18 -0000", "a  b"}) {
    Request request = SampleRequest();
    request.date = date;
    EXPECT_TRUE(Sign(request, credentials)) << date;
  }
}

// Each field with each byte in its middle, against lists that do not come from the library.
TEST_F(SignRequest, AcceptsOnlyTheCharactersOfEachField) {
  const std::string upper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
  const std::string letters = upper + "abcdefghijklmnopqrstuvwxyz";
  const std::string inPath = letters + "!\"$%&'()*+,-./:;<=>@[\\]^_`{|}~";
  for (int byte = 0; byte < 256; ++byte) {
    SCOPED_TRACE(byte);
    const char character = static_cast<char>(byte);
    const std::string middle = std::string{"A"} + character + "A";
    const auto expect = [&](const Request& request, const std::string& allowed) {
      EXPECT_EQ(Sign(request, credentials).HasValue(), allowed.find(character) != std::string::npos);
    };
    Request request = SampleRequest();
    request.method = middle;
    expect(request, upper + "!#$%&'*+-.^_`|~");
    request = SampleRequest();
    request.path = "/" + middle;
    expect(request, inPath);
    request = SampleRequest();
    request.date = middle;
    expect(request, inPath + "?# ");
    const auto accepts = [](const std::string& host, const std::string& key) {
      return Credentials::FromValues({.host = host, .integrationKey = key, .secretKey = Secret{"k"}})
          .HasValue();
    };
    EXPECT_EQ(accepts(middle, "id"), (letters + ".-_").find(character) != std::string::npos);
    EXPECT_EQ(accepts("host", middle), byte >= 32 && byte != 127 && character != ':');
  }
}

TEST_F(SignRequest, RefusesWhatWouldSplitALineOrShareASignedText) {
  const std::string nul(1, '\0');
  const struct {
    const char* field;
    std::string text;
    Reason reason;
  } rows[] = {
      {"method", "", Reason::Empty},
      {"method", "PO\nST", Reason::InvalidCharacter},
      {"method", "POST\r", Reason::InvalidCharacter},
      {"method", "POST" + nul, Reason::InvalidCharacter},
      {"method", "PO ST", Reason::InvalidCharacter},
      {"method", "post", Reason::InvalidCharacter},
      {"method", "POST\xC3\xA4", Reason::InvalidCharacter},
      {"path", "", Reason::Empty},
      {"path", "v1", Reason::InvalidCharacter},
      {"path", "/v1\n", Reason::InvalidCharacter},
      {"path", "/v1\rx", Reason::InvalidCharacter},
      {"path", "/v1" + nul, Reason::InvalidCharacter},
      {"path", "/v 1", Reason::InvalidCharacter},
      {"path", "/v1?a=b", Reason::InvalidCharacter},
      {"path", "/v1#a", Reason::InvalidCharacter},
      {"path", "/\x7F", Reason::InvalidCharacter},
      {"path", "/\xC3\xA4", Reason::InvalidCharacter},
      {"date", "", Reason::Empty},
      {"date", "a\nb", Reason::InvalidCharacter},
      {"date", "a\r\nX: y", Reason::InvalidCharacter},
      {"date", "a" + nul, Reason::InvalidCharacter},
      {"date", "a\tb", Reason::InvalidCharacter},
      {"date", " a", Reason::InvalidCharacter},
      {"date", "a ", Reason::InvalidCharacter},
      {"date", "\xC3\xA4", Reason::InvalidCharacter},
  };
  for (const auto& row : rows) {
    for (Request request : {SampleRequest(), SampleJson()}) {
      SCOPED_TRACE(row.field + (": " + ::testing::PrintToString(row.text)));
      const std::string field = row.field;
      if (field == "method") request.method = row.text;
      if (field == "path") request.path = row.text;
      if (field == "date") request.date = row.text;
      const Result<SignedRequest> result = Sign(request, credentials);
      ASSERT_FALSE(result);
      EXPECT_EQ(result.GetFailure().reason, row.reason);
      EXPECT_EQ(result.GetFailure().field, row.field);
    }
  }
}

// With the plain functions, both pairs have the same text.
TEST_F(SignRequest, RefusesBothCollisionsOfThePlainFunctions) {
  EXPECT_EQ(BuildAuthorizationSignature("d", "a\nb", "c", "e", "f"),
            BuildAuthorizationSignature("d\na", "b", "c", "e", "f"));
  Request request = SampleRequest();
  request.method = "A\nB";
  EXPECT_EQ(FailureOf(request).field, "method");
  request = SampleRequest();
  request.date = "d\nA";
  EXPECT_EQ(FailureOf(request).field, "date");

  const std::string json = BuildJsonAuthorizationSignature("", "a", "b", "c", "body");
  EXPECT_EQ(BuildAuthorizationSignature("a", "b", "c", "", json.substr(json.size() - 128)), json);
  request = SampleJson();
  request.date = "";
  EXPECT_EQ(FailureOf(request).field, "date");
  request = SampleRequest();
  request.path = "";
  EXPECT_EQ(FailureOf(request).field, "path");
}

TEST_F(SignRequest, RefusesParameterValuesThatWouldBeSignedAsOthers) {
  EXPECT_EQ(BuildParameterString({{"a", std::wstring(L"x\0y", 3)}}, {}),
            BuildParameterString({{"a", L"x"}}, {}));
  EXPECT_EQ(BuildParameterString({{"a", L"\xD800"}}, {}), BuildParameterString({{"a", L"\xDC00"}}, {}));
  const struct {
    std::wstring value;
    Reason reason;
  } rows[] = {
      {std::wstring(L"x\0y", 3), Reason::InvalidCharacter},
      {std::wstring(1, L'\0'), Reason::InvalidCharacter},
      {L"\xD800", Reason::InvalidEncoding},
      {L"\xDC00", Reason::InvalidEncoding},
      {L"\xD800x", Reason::InvalidEncoding},
      {L"\xDBFF\xDBFF\xDFFF", Reason::InvalidEncoding},
      {L"\xDFFF\xD800", Reason::InvalidEncoding},
      {L"\xD83D\xDE00\xDE00", Reason::InvalidEncoding},
  };
  for (const auto& row : rows) {
    Request request = SampleRequest();
    std::get<ParameterList>(request.content)["a b"] = row.value;
    EXPECT_EQ(FailureOf(request).reason, row.reason);
    EXPECT_EQ(FailureOf(request).field, "parameters.a%20b");
  }
  Request request = SampleRequest();
  request.content = ParameterList{{"a", L"\xD83D\xDE00"}, {"b", L""}, {"c", L"=&\r\n"}, {"", L"\xFFFD"}};
  const Result<SignedRequest> result = Sign(request, credentials);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->body, "=%EF%BF%BD&a=%F0%9F%98%80&b=&c=%3D%26%0D%0A");
}

TEST_F(SignRequest, RefusesAJsonBodyThatWouldNotBeSent) {
  for (const char* const method : {"GET", "HEAD", "DELETE"}) {
    Request request = SampleJson();
    request.method = method;
    EXPECT_EQ(FailureOf(request).reason, Reason::BodyNotAllowed);
    EXPECT_EQ(FailureOf(request).field, "body");
  }
}

TEST_F(SignRequest, RefusesCredentialsThatWereMovedFrom) {
  const Credentials moved = std::move(credentials);
  EXPECT_EQ(FailureOf(SampleRequest()).reason, Reason::Empty);
  EXPECT_EQ(FailureOf(SampleRequest()).field, "secretKey");
  EXPECT_TRUE(Sign(SampleRequest(), moved));
}

TEST_F(SignRequest, RefusesTextsAboveTheLimitInTotal) {
  Request request = SampleJson();
  request.content = JsonBody{std::string(kMaximumSize, 'x')};
  EXPECT_EQ(FailureOf(request).reason, Reason::TooLong);
  EXPECT_EQ(FailureOf(request).field, "request");
  request = SampleRequest();
  request.path = "/" + std::string(kMaximumSize, 'x');
  EXPECT_EQ(FailureOf(request).reason, Reason::TooLong);
  request = SampleRequest();
  request.date = std::string(kMaximumSize, 'x');
  EXPECT_EQ(FailureOf(request).reason, Reason::TooLong);
  request = SampleRequest();
  request.content =
      Kuv::Util::ParameterList{{std::string(kMaximumSize / 2, 'x'), std::wstring(kMaximumSize / 2, L'x')}};
  EXPECT_EQ(FailureOf(request).reason, Reason::TooLong);
}

}  // namespace
