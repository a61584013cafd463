#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Examples/SignedRequestRun.h"
#include "SignedRequest/Options.h"

namespace {

using KuvTest::ExampleRun;
using KuvTest::RunExample;
using SignedRequest::Options;
using SignedRequest::ParseAddress;
using SignedRequest::ParseOptions;

TEST(SignedRequestOptions, KeepMethodHostAndPathUnchanged) {
  const Options options = ParseOptions({L"Get", L"AUTH.kuv.example:8443", L"/V1/a%20b;c"});
  EXPECT_EQ(options.method, "Get");
  EXPECT_EQ(options.host, "AUTH.kuv.example:8443");
  EXPECT_EQ(options.path, "/V1/a%20b;c");
  EXPECT_TRUE(options.parameters.empty() && options.masked.empty());
  EXPECT_FALSE(options.help || options.json || options.date || options.sendTo);
}

TEST(SignedRequestOptions, SplitAParameterAtItsFirstEqualsSign) {
  const Options options = ParseOptions({L"POST", L"h", L"/", L"a=b=c", L"empty=", L"\u00EB=\u20AC", L"A=2"});
  EXPECT_EQ(options.parameters,
            (Kuv::Util::ParameterList{{"A", L"2"}, {"a", L"b=c"}, {"empty", L""}, {"\xC3\xAB", L"\u20AC"}}));
}

TEST(SignedRequestOptions, CanBeAnywhere) {
  const Options options = ParseOptions({L"--mask", L"a b", L"POST", L"--date", L"now", L"h", L"/", L"--send",
                                        L"https://kuv.example", L"a=1", L"--mask", L"c"});
  EXPECT_EQ(options.path, "/");
  EXPECT_EQ(options.parameters, (Kuv::Util::ParameterList{{"a", L"1"}}));
  EXPECT_EQ(options.masked, (Kuv::Util::MaskedNameSet{"a%20b", "c"}));
  EXPECT_EQ(options.date, "now");
  ASSERT_TRUE(options.sendTo.has_value());
  EXPECT_EQ(options.sendTo->name, L"kuv.example");
}

TEST(SignedRequestOptions, ConvertTheBodyToUtf8) {
  EXPECT_EQ(ParseOptions({L"POST", L"h", L"/", L"--json", L"\"\u00EB\""}).json, "\"\xC3\xAB\"");
}

TEST(SignedRequestOptions, ParseAnAddress) {
  struct {
    const wchar_t* text;
    const wchar_t* name;
    int port;
    bool secure;
  } const rows[] = {
      {L"http://127.0.0.1:8080", L"127.0.0.1", 8080, false},
      {L"http://localhost", L"localhost", 80, false},
      {L"https://auth.kuv.example/", L"auth.kuv.example", 443, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.text));
    const SignedRequest::Address address = ParseAddress(row.text);
    EXPECT_EQ(address.name, row.name);
    EXPECT_EQ(address.port, row.port);
    EXPECT_EQ(address.secure, row.secure);
  }
}

void ExpectRejected(const std::vector<std::wstring>& arguments, const std::string& message) {
  const ExampleRun run = RunExample(arguments);
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.err, "KuvSignedRequest: " + message + "; --help lists the arguments\n");
  EXPECT_EQ(run.out, "");
}

TEST(SignedRequestOptions, RejectInvalidArguments) {
  struct {
    const char* name;
    std::vector<std::wstring> arguments;
    const char* message;
  } const rows[] = {
      {"an unknown option", {L"--bogus"}, "unknown option '--bogus'"},
      {"a control character", {L"--b\n\x1B"}, "unknown option '--b\?\?'"},
      {"no arguments", {}, "METHOD, HOST and PATH are required"},
      {"too few arguments", {L"GET", L"h", L"--mask", L"a"}, "METHOD, HOST and PATH are required"},
      {"a missing value", {L"GET", L"h", L"/", L"--send"}, "--send requires a value"},
      {"an empty value", {L"GET", L"h", L"/", L"--json", L""}, "--json requires a value"},
      {"a method with a blank", {L"GET /", L"h", L"/"}, "the method must consist of letters, not 'GET /'"},
      {"an empty host",
       {L"GET", L"", L"/"},
       "the host must be a name or an address with an optional port, not ''"},
      {"a host with a line end",
       {L"GET", L"h\r\nX: y", L"/"},
       "the host must be a name or an address with an optional port, not 'h\?\?X: y'"},
      {"a path without a slash",
       {L"GET", L"h", L"v1"},
       "the path must start with / and percent-encode spaces, ? and #, not 'v1'"},
      {"a path with parameters",
       {L"GET", L"h", L"/?a=1"},
       "the path must start with / and percent-encode spaces, ? and #, not '/?a=1'"},
      {"a path with a blank",
       {L"GET", L"h", L"/a b"},
       "the path must start with / and percent-encode spaces, ? and #, not '/a b'"},
      {"a path with a line end",
       {L"GET", L"h", L"/\n"},
       "the path must start with / and percent-encode spaces, ? and #, not '/\?'"},
      {"a parameter without a value", {L"GET", L"h", L"/", L"a"}, "a parameter must be NAME=VALUE, not 'a'"},
      {"a parameter without a name", {L"GET", L"h", L"/", L"=a"}, "a parameter must be NAME=VALUE, not '=a'"},
      {"a parameter twice", {L"GET", L"h", L"/", L"a=1", L"a=2"}, "the parameter 'a' is specified twice"},
      {"a date of two lines",
       {L"GET", L"h", L"/", L"--date", L"a\r\nX: y"},
       "--date must be a single line, not 'a\?\?X: y'"},
      {"parameters and a body",
       {L"POST", L"h", L"/", L"a=1", L"--json", L"{}"},
       "a request can have parameters or a JSON body, not both"},
      {"a body of a query",
       {L"GET", L"h", L"/", L"--json", L"{}"},
       "--json requires a request with a body, not GET"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ExpectRejected(row.arguments, row.message);
  }
}

TEST(SignedRequestOptions, RejectAnInvalidAddress) {
  for (const std::string text : {"127.0.0.1:80", "ftp://kuv.example", "http://", "http://user@kuv.example",
                                 "http://kuv.example/path", "http://kuv.example/?a=1", "http://h:99999"}) {
    SCOPED_TRACE(text);
    ExpectRejected({L"GET", L"h", L"/", L"--send", {text.begin(), text.end()}},
                   "--send must be http://NAME[:PORT] or https://NAME[:PORT], not '" + text + "'");
  }
}

TEST(SignedRequestOptions, HelpListsEveryArgument) {
  const ExampleRun run = RunExample({L"--help", L"--bogus"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "");
  for (const char* const text : {"METHOD HOST PATH", "NAME=VALUE", "--json TEXT", "--mask NAME",
                                 "--date TEXT", "--send ADDRESS", "--help"}) {
    EXPECT_THAT(run.out, ::testing::HasSubstr("\n  " + std::string{text}));
  }
}

TEST(SignedRequestOptions, HelpListsEveryExitCode) {
  EXPECT_THAT(RunExample({L"--help"}).out,
              ::testing::EndsWith("\nExit codes\n"
                                  "  0  the request was shown and, if sent, the response was a success\n"
                                  "  1  any other failure\n"
                                  "  2  unknown option or invalid value\n"
                                  "  3  host or keys not configured\n"
                                  "  4  request not signed\n"
                                  "  5  request not sent, or no response\n"
                                  "  6  the service refused the request (401)\n"
                                  "  7  the service returned another status\n"));
}

}  // namespace
