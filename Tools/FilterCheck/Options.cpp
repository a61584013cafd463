#include "FilterCheck/Options.h"

#include <algorithm>
#include <ostream>

#include "Common/CommandLine.h"
#include "KuvAuth/Support/Text.h"

namespace FilterCheck {

namespace {

using Tools::Quoted;
using Tools::ThrowUsage;

// The message does not contain the value, which may be a secret.
WhatIfSetting ParseWhatIf(const std::wstring& text) {
  const std::size_t end = text.find(L'=');
  if (end == std::wstring::npos) ThrowUsage("--what-if requires Setting=value");
  const std::wstring name = text.substr(0, end);
  const SettingInfo* const setting = FindSetting(WideToUtf8(name));
  if (setting == nullptr) ThrowUsage("--what-if: unknown setting " + Quoted(name));
  return {setting, text.substr(end + 1)};
}

void AddWhatIf(Options& options, const std::wstring& text) {
  WhatIfSetting whatIf = ParseWhatIf(text);
  const bool again = std::any_of(options.whatIfSettings.begin(), options.whatIfSettings.end(),
                                 [&](const WhatIfSetting& other) { return other.setting == whatIf.setting; });
  if (again) ThrowUsage("--what-if names " + std::string{whatIf.setting->name} + " more than once");
  options.whatIfSettings.push_back(std::move(whatIf));
}

constexpr Tools::Option<Options> kOptions[] = {
    {L"--json", false, [](Options& o, const std::wstring&) { o.json = true; }},
    {L"--no-color", false, [](Options& o, const std::wstring&) { o.noColor = true; }},
    {L"--html", true, [](Options& o, const std::wstring& value) { o.htmlFile = value; }},
    {L"--what-if", true, AddWhatIf},
};

}  // namespace

Options ParseOptions(const std::vector<std::wstring>& arguments) {
  Options options;
  options.help = Tools::ApplyOptions<Options>(arguments, kOptions, options);
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
