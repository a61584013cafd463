#include "KuvAuth/Signing/MaskedForLog.h"

#include <gtest/gtest.h>

#include "Samples.h"

namespace {

using namespace Kuv::Signing;
using Kuv::Util::ParameterList;
using Names = std::vector<std::string>;

Request WithParameters(ParameterList parameters) {
  return {.method = "POST", .path = "/v1/auth", .content = std::move(parameters)};
}

Request WithPath(const std::string& path) {
  return {.method = "GET", .path = path};
}

TEST(MaskedForLog, ShowsTheRequestWithoutTheMaskedValues) {
  const Request request = WithParameters({{"factor", L"passcode"}, {"passcode", L"123456"}, {"a", L""}});
  EXPECT_EQ(MaskedForLog(request, {}), "POST /v1/auth a=&factor=passcode&passcode=123456");
  EXPECT_EQ(MaskedForLog(request, {"passcode"}), "POST /v1/auth a=&factor=passcode&passcode=#####");
  EXPECT_EQ(MaskedForLog(request, {"passcode", "a"}), "POST /v1/auth a=#####&factor=passcode&passcode=#####");
  EXPECT_EQ(MaskedForLog(request, {"pass", "Passcode", "asscode", "code"}),
            "POST /v1/auth a=&factor=passcode&passcode=123456");
  EXPECT_EQ(MaskedForLog(WithParameters({}), {"a"}), "POST /v1/auth");
}

TEST(MaskedForLog, FindsANameInEitherForm) {
  const ParameterList raw{{"pass word/\xC3\xA4", L"secret"}};
  const ParameterList encoded{{"pass%20word%2F%C3%A4", L"secret"}};
  for (const char* const name :
       {"pass word/\xC3\xA4", "pass%20word%2F%C3%A4", "pass%20word%2f%c3%a4", "%70ass word/%C3%A4"}) {
    EXPECT_EQ(MaskedForLog(WithParameters(raw), {name}), "POST /v1/auth pass%20word%2F%C3%A4=#####") << name;
  }
  for (const char* const name : {"pass word/\xC3\xA4", "pass%20word%2F%C3%A4"}) {
    EXPECT_EQ(MaskedForLog(WithParameters(encoded), {name}),
              "POST /v1/auth pass%2520word%252F%25C3%25A4=#####")
        << name;
  }
}

TEST(MaskedForLog, FindsNamesThatNeedEncoding) {
  for (const char* const name : {"a=b", "a&b", "a%b", "%", "%4", "a b", "\n", "="}) {
    const std::string text = MaskedForLog(WithParameters({{name, L"secret"}, {"x", L"y"}}), {name});
    EXPECT_EQ(text.find("secret"), std::string::npos) << text;
    EXPECT_NE(text.find("x=y"), std::string::npos) << text;
  }
}

TEST(MaskedForLog, DecodesOnlyHexadecimalDigits) {
  // As digits, the characters next to the digits and letters would make the names "i", "j" and "p".
  for (const char* const text : {"%6@", "%6`", "%6:", "%6G", "%6g", "%7W"}) {
    const std::string path = std::string{"/v1?"} + text + "=shown";
    EXPECT_EQ(MaskedForLog(WithPath(path), {"i", "j", "p"}), "GET " + path);
  }
  for (const char* const text : {"%69", "%6a", "%6A", "%70"}) {
    EXPECT_EQ(MaskedForLog(WithPath(std::string{"/v1?"} + text + "=hidden"), {"i", "j", "p"}),
              std::string{"GET /v1?"} + text + "=#####");
  }
}

TEST(MaskedForLog, MasksParametersInThePath) {
  const struct {
    const char* path;
    const char* masked;
  } rows[] = {
      {"/v1?pw=secret", "GET /v1?pw=#####"},
      {"/v1?pw=secret&a=b", "GET /v1?pw=#####&a=b"},
      {"/v1?a=b&p%77=se/cr?et&c=d", "GET /v1?a=b&p%77=#####&c=d"},
      {"/pw=secret/x", "GET /pw=#####"},
      {"/v1;pw=secret", "GET /v1;pw=#####"},
      {"/v1#pw=secret", "GET /v1#pw=#####"},
      {"pw=secret", "GET pw=#####"},
      {"/v1?a=pw=secret", "GET /v1?a=pw=#####"},
      {"/v1?pw", "GET /v1?pw"},
      {"/v1?xpw=shown&pwx=shown", "GET /v1?xpw=shown&pwx=shown"},
      {"/v1?&&", "GET /v1?&&"},
      {"&", "GET &"},
      {"", "GET "},
  };
  for (const auto& row : rows) EXPECT_EQ(MaskedForLog(WithPath(row.path), {"pw"}), row.masked);
  EXPECT_EQ(MaskedForLog(WithPath("/v1?a=b=secret"), {"a=b"}), "GET /v1?a=b=#####");
}

TEST(MaskedForLog, FindsNamesWithSeparatorsThatAreNotEncoded) {
  for (const char* const name : {"a/b", "a?b", "a;b", "a#b", "/b", "a/"}) {
    SCOPED_TRACE(name);
    const std::string path = std::string{"/v1?"} + name + "=";
    EXPECT_EQ(MaskedForLog(WithPath(path + "secret"), {name}), "GET " + path + "#####");
    EXPECT_EQ(MaskedForLog(WithPath(path + "se/cr=et&x=y"), {name}), "GET " + path + "#####&x=y");
  }
  EXPECT_EQ(MaskedForLog(WithPath("/v1?q=a/b=secret"), {"a/b"}), "GET /v1?q=a/b=#####");
  EXPECT_EQ(MaskedForLog(WithPath("/xa/b=shown"), {"a/b"}), "GET /xa/b=shown");
  for (const wchar_t* const value : {L"a/b=secret", L"x=1&a/b=secret", L"q?a/b=secret"})
    EXPECT_EQ(MaskedForLog(WithParameters({{"info", value}}), {"a/b"}), "POST /v1/auth info=#####");
  EXPECT_EQ(MaskedForLog(WithParameters({{"info", L"a&b=secret"}}), {"a&b"}), "POST /v1/auth info=#####");
}

// A value can contain the text of other parameters.
TEST(MaskedForLog, MasksAValueThatContainsAMaskedParameter) {
  for (const wchar_t* const value : {L"pw=secret", L"a=b&pw=secret", L"a=b%26pw%3Dsecret", L"a=b&p%77=secret",
                                     L"pw%253Dsecret", L"?pw=secret"}) {
    EXPECT_EQ(MaskedForLog(WithParameters({{"info", value}, {"x", L"y"}}), {"pw"}),
              "POST /v1/auth info=#####&x=y");
  }
  EXPECT_EQ(MaskedForLog(WithParameters({{"info", L"xpw=shown pw"}}), {"pw"}),
            "POST /v1/auth info=xpw%3Dshown%20pw");
}

TEST(MaskedForLog, ShowsOnlyTheSizeOfAJsonBody) {
  const Request request{.method = "POST", .path = "/v1", .content = JsonBody{R"({"pw":"secret"})"}};
  EXPECT_EQ(MaskedForLog(request, {}), "POST /v1 (body of 15 bytes)");
  const Credentials credentials = KuvTest::SampleCredentials();
  EXPECT_EQ(MaskedForLog(*Sign(request, credentials), {"pw"}), "POST /v1 (body of 15 bytes)");
}

TEST(MaskedForLog, ShowsASignedRequestWithoutItsHeaders) {
  const Credentials credentials = KuvTest::SampleCredentials();
  Request request = WithParameters({{"pass word", L"1"}, {"user", L"a b"}});
  EXPECT_EQ(MaskedForLog(*Sign(request, credentials), {"pass word"}),
            "POST /v1/auth pass%20word=#####&user=a%20b");
  request.method = "GET";
  EXPECT_EQ(MaskedForLog(*Sign(request, credentials), {"pass%20word"}),
            "GET /v1/auth?pass%20word=#####&user=a%20b");
  EXPECT_EQ(MaskedForLog(request, {"user"}), "GET /v1/auth?pass%20word=1&user=#####");
}

TEST(MaskedForLog, IsOneLineOfVisibleCharacters) {
  const Request request{.method = "PO\nST\r", .path = std::string("/\0 \x7F\xFF", 5)};
  EXPECT_EQ(MaskedForLog(request, {}), "PO%0AST%0D /%00%20%7F%FF");
  SignedRequest received{.method = "A B", .target = "/\n", .body = "a=\r\n", .contentType = "text/plain"};
  EXPECT_EQ(MaskedForLog(received, {}), "A%20B /%0A (body of 4 bytes)");
  received.contentType = "application/x-www-form-urlencoded";
  EXPECT_EQ(MaskedForLog(received, {}), "A%20B /%0A a=%0D%0A");
}

TEST(MaskedForLog, DoesNotShowTextsAboveTheLimit) {
  Request request{.method = "POST", .path = std::string(kMaximumSize + 1, 'x')};
  EXPECT_EQ(MaskedForLog(request, {}), "(request that is too large for a log)");
  const SignedRequest signedRequest{.target = std::move(request.path)};
  EXPECT_EQ(MaskedForLog(signedRequest, {}), "(request that is too large for a log)");
}

}  // namespace
