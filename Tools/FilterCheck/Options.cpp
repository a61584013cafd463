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
  if (end == std::wstring::npos) ThrowUsage("--what-if takes Setting=value");
  const std::wstring name = text.substr(0, end);
  const SettingInfo* const setting = FindSetting(WideToUtf8(name));
  if (setting == nullptr) ThrowUsage("--what-if: there is no setting " + Quoted(name));
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
registration, and what users see at each kind of logon. Changes nothing of the machine:
--html makes a new file, --what-if a volatile key below HKEY_CURRENT_USER for the run.
Run it as an administrator, since others may not read the settings.

KuvFilterCheck [option...]

  --what-if Setting=value  show what would be if the setting had this value, and what
                           changes against today; may be given more than once. Numbers
                           in decimal or 0x and hexadecimal, a comma between the entries
                           of a list, no value at all for a setting that is not set. Only
                           this run sees the value.
  --json                   write the facts as JSON (Docs/FilterCheck.md)
  --html FILE              write them to a new file as a page too; an existing file stays
  --no-color               no colours on a console, as with NO_COLOR set
  --help                   show this

Exit codes; with --what-if, of what would be
  0  the second factor is in force, nothing to mend
  1  it is in force, with warnings or problems
  2  it is not in force, or the filter is not registered, or it lets nobody in
  3  wrong usage or an internal error

Examples
  KuvFilterCheck
  KuvFilterCheck --html C:\Temp\check.html
  KuvFilterCheck --what-if RdpOnly=1 --what-if ElevationProtectionMode=2
  KuvFilterCheck --what-if "ProvidersWhitelist={D6886603-9D2F-4EB2-B667-1971041FA96B}"
  KuvFilterCheck --json > check.json
)";
}

}  // namespace FilterCheck
