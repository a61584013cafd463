#include "SignedRequest/Options.h"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <string_view>

#include "SignedRequest/ExampleError.h"
#include <KuvAuth/Support/Text.h>

namespace SignedRequest {

namespace {

constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

bool HoldsOnly(const std::string& text, std::string_view allowed) {
  return !text.empty() && text.find_first_not_of(allowed) == std::string::npos;
}

// The library does not check the parts of a header: a space or a line end would truncate the request line.
bool IsVisibleAscii(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char unit) { return unit > 0x20 && unit < 0x7F; });
}

std::string ParseMethod(const std::wstring& value) {
  std::string method = WideToUtf8(value);
  if (!HoldsOnly(method, kLetters)) ThrowUsage("the method must consist of letters, not " + Quoted(value));
  return method;
}

std::string ParseHost(const std::wstring& value) {
  std::string host = WideToUtf8(value);
  if (!HoldsOnly(host, std::string{kLetters} + "0123456789.-_:[]")) {
    ThrowUsage("the host must be a name or an address with an optional port, not " + Quoted(value));
  }
  return host;
}

std::string ParsePath(const std::wstring& value) {
  std::string path = WideToUtf8(value);
  if (!path.starts_with('/') || !IsVisibleAscii(path) || path.find_first_of("?#") != std::string::npos) {
    ThrowUsage("the path must start with / and percent-encode spaces, ? and #, not " + Quoted(value));
  }
  return path;
}

void AddParameter(Options& options, const std::wstring& argument) {
  const std::size_t equals = argument.find(L'=');
  if (equals == std::wstring::npos || equals == 0) {
    ThrowUsage("a parameter must be NAME=VALUE, not " + Quoted(argument));
  }
  const std::wstring name = argument.substr(0, equals);
  if (!options.parameters.emplace(WideToUtf8(name), argument.substr(equals + 1)).second) {
    ThrowUsage("the parameter " + Quoted(name) + " is specified twice");
  }
}

std::string ParseDate(const std::wstring& value) {
  std::string date = WideToUtf8(value);
  if (Printable(date) != date) ThrowUsage("--date must be a single line, not " + Quoted(value));
  return date;
}

struct Option {
  const wchar_t* name;
  void (*apply)(Options& options, const std::wstring& value);
};

constexpr Option kOptions[] = {
    {L"--json", [](Options& o, const std::wstring& value) { o.json = WideToUtf8(value); }},
    {L"--mask",
     [](Options& o, const std::wstring& value) {
       o.masked.insert(Kuv::Util::PercentEncode(WideToUtf8(value)));
     }},
    {L"--date", [](Options& o, const std::wstring& value) { o.date = ParseDate(value); }},
    {L"--send", [](Options& o, const std::wstring& value) { o.sendTo = ParseAddress(value); }},
};

void ApplyOption(Options& options, const std::wstring& name, const std::wstring* value) {
  const auto* const option = std::find_if(std::begin(kOptions), std::end(kOptions),
                                          [&](const Option& row) { return row.name == name; });
  if (option == std::end(kOptions)) ThrowUsage("unknown option " + Quoted(name));
  if (value == nullptr || value->empty()) ThrowUsage(WideToUtf8(name) + " requires a value");
  option->apply(options, *value);
}

void CheckTogether(const Options& options) {
  if (!options.json) return;
  if (!options.parameters.empty()) ThrowUsage("a request can have parameters or a JSON body, not both");
  if (HasNoBody(options.method)) ThrowUsage("--json requires a request with a body, not " + options.method);
}

}  // namespace

bool HasNoBody(const std::string& method) {
  return method == "GET" || method == "HEAD" || method == "DELETE";
}

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
  constexpr std::size_t kNamed = 3;
  if (positional.size() < kNamed) ThrowUsage("METHOD, HOST and PATH are required");
  options.method = ParseMethod(positional[0]);
  options.host = ParseHost(positional[1]);
  options.path = ParsePath(positional[2]);
  for (std::size_t i = kNamed; i < positional.size(); ++i) AddParameter(options, positional[i]);
  CheckTogether(options);
  return options;
}

void PrintUsage(std::ostream& out) {
  out << R"(Signs a request to the second-factor service with the keys from the settings of this
machine (IKey and SKey) and shows the complete request.

KuvSignedRequest [option...] METHOD HOST PATH [NAME=VALUE...]

  METHOD HOST PATH          for example POST auth.kuv.example /v1/auth; they are signed
                            unchanged
  NAME=VALUE                a parameter; GET, HEAD and DELETE requests send parameters
                            after the path, other requests in the body
  --json TEXT               sign and send this JSON body instead of parameters
  --mask NAME               show ##### as the value of this parameter in the parameters
                            for display; can be repeated
  --date TEXT               sign and send this date instead of the current time
  --send ADDRESS            send the request to http://NAME[:PORT] or https://NAME[:PORT]
                            and show the response
  --help                    show this help

The signed text has the lines date, METHOD, HOST, PATH and parameters or, for a JSON
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
