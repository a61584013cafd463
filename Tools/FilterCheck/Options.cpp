#include "FilterCheck/Options.h"

#include <algorithm>
#include <iterator>
#include <ostream>

#include "Common/HostError.h"
#include "Common/PlainText.h"
#include "KuvAuth/Support/Text.h"

namespace FilterCheck {

namespace {

[[noreturn]] void ThrowUsage(const std::string& message) {
  throw FilterHost::HostError{FilterHost::ExitCode::Usage, message + "; see --help"};
}

std::string Quoted(const std::wstring& text) {
  return "'" + PlainText(text) + "'";
}

// The message does not contain the value, which may be a secret.
Assumption ParseAssumption(const std::wstring& text) {
  const std::size_t end = text.find(L'=');
  if (end == std::wstring::npos) ThrowUsage("--what-if requires Setting=value");
  const std::wstring name = text.substr(0, end);
  const SettingInfo* const setting = FindSetting(WideToUtf8(name));
  if (setting == nullptr) ThrowUsage("--what-if: unknown setting " + Quoted(name));
  return {setting, text.substr(end + 1)};
}

void AddAssumption(Options& options, const std::wstring& text) {
  Assumption assumption = ParseAssumption(text);
  const bool again =
      std::any_of(options.assumptions.begin(), options.assumptions.end(),
                  [&](const Assumption& other) { return other.setting == assumption.setting; });
  if (again) ThrowUsage("--what-if names " + std::string{assumption.setting->name} + " more than once");
  options.assumptions.push_back(std::move(assumption));
}

struct Option {
  const wchar_t* name;
  bool takesValue;
  void (*apply)(Options& options, const std::wstring& value);
};

constexpr Option kOptions[] = {
    {L"--help", false, [](Options& o, const std::wstring&) { o.help = true; }},
    {L"--json", false, [](Options& o, const std::wstring&) { o.json = true; }},
    {L"--no-color", false, [](Options& o, const std::wstring&) { o.noColor = true; }},
    {L"--html", true, [](Options& o, const std::wstring& value) { o.htmlFile = value; }},
    {L"--what-if", true, AddAssumption},
};

const Option& FindOption(const std::wstring& name) {
  const auto* const option = std::find_if(std::begin(kOptions), std::end(kOptions),
                                          [&](const Option& row) { return row.name == name; });
  // An argument that is not an option may be a secret after an extra space.
  if (option == std::end(kOptions))
    ThrowUsage(name.starts_with(L"--") ? "unknown option " + Quoted(name)
                                       : "unexpected argument that is not an option");
  return *option;
}

}  // namespace

Options ParseOptions(const std::vector<std::wstring>& arguments) {
  Options options;
  for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
    const Option& option = FindOption(*argument);
    if (!option.takesValue) {
      option.apply(options, {});
      if (options.help) break;
      continue;
    }
    if (std::next(argument) == arguments.end() || std::next(argument)->empty()) {
      ThrowUsage(WideToUtf8(*argument) + " requires a value");
    }
    option.apply(options, *++argument);
  }
  return options;
}

void PrintUsage(std::ostream& out) {
  out << R"(Checks the credential provider filter on this machine: its settings, its
registration, and what users see at each kind of sign-in. Does not change the machine:
--html creates a new file, and --what-if a volatile registry key below HKEY_CURRENT_USER
that is deleted at the end. Run it as an administrator: other users cannot read the
settings.

KuvFilterCheck [option...]

  --what-if Setting=value  show the result if the setting had this value, and what would
                           change. Can be repeated. Numbers are decimal, or hexadecimal
                           with 0x. Separate the entries of a list with commas. Without a
                           value, the setting is treated as not set.
  --json                   write the results as JSON (see Docs/FilterCheck.md)
  --html FILE              also write the results to a new HTML file; fails if it exists
  --no-color               do not use colors on a console; same as setting NO_COLOR
  --help                   show this help

Exit codes (with --what-if, for the assumed settings)
  0  the second factor is required, no issues found
  1  the second factor is required, with warnings or problems
  2  the second factor is not required, the filter is not registered, or no one can
     sign in
  3  wrong usage or internal error

Examples
  KuvFilterCheck
  KuvFilterCheck --html C:\Temp\check.html
  KuvFilterCheck --what-if RdpOnly=1 --what-if ElevationProtectionMode=2
  KuvFilterCheck --what-if "ProvidersWhitelist={D6886603-9D2F-4EB2-B667-1971041FA96B}"
  KuvFilterCheck --json > check.json
)";
}

}  // namespace FilterCheck
