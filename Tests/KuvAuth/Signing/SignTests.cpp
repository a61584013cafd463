#include <windows.h>

#include "KuvAuth/ServiceClient/KuvAuthUtil.h"
#include "SignFixture.h"
#include "Support/ImportHook.h"

namespace {

using namespace Kuv::Signing;
using namespace KuvTest;
using Kuv::Util::BuildAuthorizationSignature;
using Kuv::Util::BuildHmacAuthorizationHeader;
using Kuv::Util::BuildJsonAuthorizationSignature;
using Kuv::Util::ParameterList;

std::string Authorization(const SignedRequest& request) {
  return "Authorization: " + request.headers.at(1).value + "\r\n";
}

// The values are those of Docs/SigningByHand.md.
TEST_F(SignRequest, SignsParameters) {
  const Result<SignedRequest> request = Sign(SampleRequest(), credentials);
  ASSERT_TRUE(request) << request.GetFailure().Describe();
  EXPECT_EQ(request->method, "POST");
  EXPECT_EQ(request->host, "auth.kuv.example");
  EXPECT_EQ(request->target, "/v1/auth");
  EXPECT_EQ(request->body, "factor=push&user=Zo%C3%AB%20Smith");
  EXPECT_EQ(request->contentType, "application/x-www-form-urlencoded");
  EXPECT_EQ(request->canonicalText,
            "Tue, 03 Nov 2026 09:30:00 GMT\nPOST\nauth.kuv.example\n/v1/auth\n"
            "factor=push&user=Zo%C3%AB%20Smith");
  EXPECT_EQ(request->HeaderLines(),
            (std::vector<std::string>{
                "Date: Tue, 03 Nov 2026 09:30:00 GMT",
                "Authorization: Basic "
                "U0FNUExFQ0xJRU5USURFTlRJRklFUjpFNzNERTY0NDlCRTBGMkNENjQ3RjJFNUM2Mjc5OTg0RUVGM0Q3MTc3",
                "Content-Type: application/x-www-form-urlencoded"}));
}

TEST_F(SignRequest, ReturnsHeadersInThreeForms) {
  const Result<SignedRequest> request = Sign(SampleRequest(), credentials);
  ASSERT_EQ(request->headers.size(), 3u);
  EXPECT_EQ(request->headers[0].name, "Date");
  EXPECT_EQ(request->headers[0].value, kDate);
  const std::vector<std::string> lines = request->HeaderLines();
  EXPECT_EQ(request->HeaderBlock(), lines[0] + "\r\n" + lines[1] + "\r\n" + lines[2] + "\r\n");
}

TEST_F(SignRequest, SignsAJsonBody) {
  const Result<SignedRequest> request = Sign(SampleJson(), credentials);
  ASSERT_TRUE(request);
  EXPECT_EQ(request->body, R"({"name": "x"})");
  EXPECT_EQ(request->target, "/v1/users");
  EXPECT_EQ(request->contentType, "application/json");
  EXPECT_EQ(request->HeaderLines().at(2), "Content-Type: application/json");
  EXPECT_EQ(request->canonicalText,
            BuildJsonAuthorizationSignature(kDate, "PUT", kHost, "/v1/users", R"({"name": "x"})"));
  EXPECT_EQ(Authorization(*request), BuildHmacAuthorizationHeader(kKey, kUser, request->canonicalText));
}

TEST_F(SignRequest, SignsAnEmptyJsonBody) {
  Request request = SampleJson();
  request.content = JsonBody{};
  const Result<SignedRequest> result = Sign(request, credentials);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->canonicalText, BuildJsonAuthorizationSignature(kDate, "PUT", kHost, "/v1/users", ""));
}

TEST_F(SignRequest, AddsParametersToTheTargetIfTheMethodHasNoBody) {
  for (const char* const method : {"GET", "HEAD", "DELETE"}) {
    SCOPED_TRACE(method);
    EXPECT_TRUE(HasNoBody(method));
    Request request = SampleRequest();
    request.method = method;
    const Result<SignedRequest> result = Sign(request, credentials);
    ASSERT_TRUE(result);
    EXPECT_EQ(result->target, "/v1/auth?factor=push&user=Zo%C3%AB%20Smith");
    EXPECT_EQ(result->body, "");
    EXPECT_EQ(result->contentType, "");
    EXPECT_EQ(result->headers.size(), 2u);
    EXPECT_EQ(result->canonicalText, BuildAuthorizationSignature(kDate, method, kHost, "/v1/auth",
                                                                 "factor=push&user=Zo%C3%AB%20Smith"));
    request.content = ParameterList{};
    EXPECT_EQ(Sign(request, credentials)->target, "/v1/auth");
  }
  for (const char* const method : {"POST", "PUT", "PATCH", "get", ""}) EXPECT_FALSE(HasNoBody(method));
}

TEST_F(SignRequest, HasNoParametersByDefault) {
  const Result<SignedRequest> request = Sign({.method = "POST", .path = "/", .date = "d"}, credentials);
  ASSERT_TRUE(request);
  EXPECT_EQ(request->canonicalText, "d\nPOST\nauth.kuv.example\n/\n");
  EXPECT_EQ(request->body, "");
}

TEST_F(SignRequest, SignsTheCurrentTimeByDefault) {
  KUV_IMPORT_HOOK(time, GetSystemTime);
  time.Answer([](SYSTEMTIME* now) { *now = {1994, 11, 0, 6, 8, 49, 37, 500}; });
  Request request = SampleRequest();
  request.date = std::nullopt;
  const Result<SignedRequest> result = Sign(request, credentials);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->headers[0].value, "Sun, 06 Nov 1994 08:49:37 GMT");
  EXPECT_TRUE(result->canonicalText.starts_with("Sun, 06 Nov 1994 08:49:37 GMT\nPOST\n"));
}

}  // namespace
