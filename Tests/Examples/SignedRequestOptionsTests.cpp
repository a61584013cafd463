#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Examples/SignedRequestRun.h"
#include "SignedRequest/Options.h"

namespace {

using Kuv::Util::ParameterList;
using KuvTest::ExampleRun;
using KuvTest::RunExample;
using SignedRequest::Options;
using SignedRequest::ParseAddress;
using SignedRequest::ParseOptions;

const ParameterList& ParametersOf(const Options& options) {
  return std::get<ParameterList>(options.request.content);
}

TEST(SignedRequestOptions, KeepMethodAndPathUnchanged) {
  const Options options = ParseOptions({L"Get", L"/V1/a%20b;c"});
  EXPECT_EQ(options.request.method, "Get");
  EXPECT_EQ(options.request.path, "/V1/a%20b;c");
  EXPECT_TRUE(ParametersOf(options).empty() && options.masked.empty());
  EXPECT_FALSE(options.help || options.request.date || options.sendTo);
}

TEST(SignedRequestOptions, SplitAParameterAtItsFirstEqualsSign) {
  const Options options = ParseOptions({L"POST", L"/", L"a=b=c", L"empty=", L"\u00EB=\u20AC", L"A=2"});
  EXPECT_EQ(ParametersOf(options),
            (ParameterList{{"A", L"2"}, {"a", L"b=c"}, {"empty", L""}, {"\xC3\xAB", L"\u20AC"}}));
}

TEST(SignedRequestOptions, CanBeAnywhere) {
  const Options options = ParseOptions({L"--mask", L"a b", L"POST", L"--date", L"now", L"/", L"--send",
                                        L"https://kuv.example", L"a=1", L"--mask", L"c"});
  EXPECT_EQ(options.request.path, "/");
  EXPECT_EQ(ParametersOf(options), (ParameterList{{"a", L"1"}}));
  EXPECT_EQ(options.masked, (std::vector<std::string>{"a b", "c"}));
  EXPECT_EQ(options.request.date, "now");
  ASSERT_TRUE(options.sendTo.has_value());
  EXPECT_EQ(options.sendTo->name, L"kuv.example");
}

TEST(SignedRequestOptions, ConvertTheBodyToUtf8) {
  const Options options = ParseOptions({L"POST", L"/", L"--json", L"\"\u00EB\""});
  EXPECT_EQ(std::get<Kuv::Signing::JsonBody>(options.request.content).text, "\"\xC3\xAB\"");
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
      {"no arguments", {}, "METHOD and PATH are required"},
      {"too few arguments", {L"GET", L"--mask", L"a"}, "METHOD and PATH are required"},
      {"a missing value", {L"GET", L"/", L"--send"}, "--send requires a value"},
      {"an empty value", {L"GET", L"/", L"--json", L""}, "--json requires a value"},
      {"a parameter without a value", {L"GET", L"/", L"a"}, "a parameter must be NAME=VALUE, not 'a'"},
      {"a parameter without a name", {L"GET", L"/", L"=a"}, "a parameter must be NAME=VALUE, not '=a'"},
      {"a parameter twice", {L"GET", L"/", L"a=1", L"a=2"}, "the parameter 'a' is specified twice"},
      {"parameters and a body",
       {L"POST", L"/", L"a=1", L"--json", L"{}"},
       "a request can have parameters or a JSON body, not both"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ExpectRejected(row.arguments, row.message);
  }
}

// The library refuses these.
TEST(SignedRequestOptions, MustBeARequest) {
  struct {
    const char* name;
    std::vector<std::wstring> arguments;
    const char* message;
  } const rows[] = {
      {"a method with a space", {L"GET /", L"/"}, "Invalid character: method. Remove or encode it."},
      {"a path without a slash", {L"GET", L"v1"}, "Invalid character: path. Remove or encode it."},
      {"a path with parameters", {L"GET", L"/?a=1"}, "Invalid character: path. Remove or encode it."},
      {"a path with a line end", {L"GET", L"/\n"}, "Invalid character: path. Remove or encode it."},
      {"a date of two lines",
       {L"GET", L"/", L"--date", L"a\r\nX: y"},
       "Invalid character: date. Remove or encode it."},
      {"a body of a query",
       {L"GET", L"/", L"--json", L"{}"},
       "A request of this method cannot have a JSON body. Use another method, or parameters."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const ExampleRun run = RunExample(row.arguments);
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.err, std::string{"KuvSignedRequest: "} + row.message + "\n");
    EXPECT_EQ(run.out, "");
  }
}

TEST(SignedRequestOptions, RejectAnInvalidAddress) {
  for (const std::string text : {"127.0.0.1:80", "ftp://kuv.example", "http://", "http://user@kuv.example",
                                 "http://kuv.example/path", "http://kuv.example/?a=1", "http://h:99999"}) {
    SCOPED_TRACE(text);
    ExpectRejected({L"GET", L"/", L"--send", {text.begin(), text.end()}},
                   "--send must be http://NAME[:PORT] or https://NAME[:PORT], not '" + text + "'");
  }
}

TEST(SignedRequestOptions, HelpListsEveryArgument) {
  const ExampleRun run = RunExample({L"--help", L"--bogus"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "");
  for (const char* const text : {"METHOD PATH", "NAME=VALUE", "--json TEXT", "--mask NAME", "--date TEXT",
                                 "--send ADDRESS", "--help"}) {
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
