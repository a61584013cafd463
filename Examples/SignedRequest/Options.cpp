#include "SignedRequest/Options.h"

#include <algorithm>
#include <iterator>
#include <ostream>

#include "SignedRequest/ExampleError.h"
#include <KuvAuth/Support/Text.h>

namespace SignedRequest {

namespace {

using Kuv::Signing::JsonBody;
using Kuv::Util::ParameterList;

void AddParameter(Options& options, const std::wstring& argument) {
  const std::size_t equals = argument.find(L'=');
  if (equals == std::wstring::npos || equals == 0) {
    ThrowUsage("a parameter must be NAME=VALUE, not " + Quoted(argument));
  }
  auto* const parameters = std::get_if<ParameterList>(&options.request.content);
  if (parameters == nullptr) ThrowUsage("a request can have parameters or a JSON body, not both");
  const std::wstring name = argument.substr(0, equals);
  if (!parameters->emplace(WideToUtf8(name), argument.substr(equals + 1)).second) {
    ThrowUsage("the parameter " + Quoted(name) + " is specified twice");
  }
}

struct Option {
  const wchar_t* name;
  void (*apply)(Options& options, const std::wstring& value);
};

constexpr Option kOptions[] = {
    {L"--json",
     [](Options& o, const std::wstring& value) { o.request.content = JsonBody{WideToUtf8(value)}; }},
    {L"--mask", [](Options& o, const std::wstring& value) { o.masked.push_back(WideToUtf8(value)); }},
    {L"--date", [](Options& o, const std::wstring& value) { o.request.date = WideToUtf8(value); }},
    {L"--send", [](Options& o, const std::wstring& value) { o.sendTo = ParseAddress(value); }},
};

void ApplyOption(Options& options, const std::wstring& name, const std::wstring* value) {
  const auto* const option = std::find_if(std::begin(kOptions), std::end(kOptions),
                                          [&](const Option& row) { return row.name == name; });
  if (option == std::end(kOptions)) ThrowUsage("unknown option " + Quoted(name));
  if (value == nullptr || value->empty()) ThrowUsage(WideToUtf8(name) + " requires a value");
  option->apply(options, *value);
}

}  // namespace

Options ParseOptions(const std::vector<std::wstring>& arguments) {
  Options options;
  std::vector<std::wstring> positional;
  for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
    if (*argument == L"--help") {
      options.help = true;
      return options;
    }
    if (!argument->starts_with(L"--")) {
      positional.push_back(*argument);
      continue;
    }
    const auto value = std::next(argument);
    ApplyOption(options, *argument, value == arguments.end() ? nullptr : &*value);
    argument = value;
  }
  constexpr std::size_t kNamed = 2;
  if (positional.size() < kNamed) ThrowUsage("METHOD and PATH are required");
  options.request.method = WideToUtf8(positional[0]);
  options.request.path = WideToUtf8(positional[1]);
  for (std::size_t i = kNamed; i < positional.size(); ++i) AddParameter(options, positional[i]);
  return options;
}

void PrintUsage(std::ostream& out) {
  out << R"(Signs a request to the second-factor service with the settings of this machine (Host,
IKey and SKey) and shows the complete request.

KuvSignedRequest [option...] METHOD PATH [NAME=VALUE...]

  METHOD PATH               for example POST /v1/auth; they are signed unchanged
  NAME=VALUE                a parameter; GET, HEAD and DELETE requests send parameters
                            after the path, other requests in the body
  --json TEXT               sign and send this JSON body instead of parameters
  --mask NAME               show ##### as the value of this parameter in the text for a
                            log; can be repeated
  --date TEXT               sign and send this date instead of the current time
  --send ADDRESS            send the request to http://NAME[:PORT] or https://NAME[:PORT]
                            and show the response
  --help                    show this help

The signed text has the lines date, METHOD, host, PATH and parameters or, for a JSON
body, an empty line and the SHA-512 digest of the body. The key is never shown or sent.

Exit codes
  0  the request was shown and, if sent, the response was a success
  1  any other failure
  2  unknown option or invalid value
  3  host or keys not configured
  4  request not signed
  5  request not sent, or no response
  6  the service refused the request (401)
  7  the service returned another status
)";
}

}  // namespace SignedRequest
