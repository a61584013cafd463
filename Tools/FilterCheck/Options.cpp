#include "FilterCheck/Options.h"

#include <algorithm>
#include <ostream>
#include <sstream>

#include "Common/CommandLine.h"
#include "FilterCheck/Machine/HostReader.h"
#include "KuvAuth/Support/Text.h"

namespace FilterCheck {

namespace {

using Tools::Quoted;
using Tools::ThrowUsage;

// Removes the name of a key from the start of the name of a setting.
WhatIfKey TakeKey(std::wstring& name) {
  for (const WhatIfKey key : {WhatIfKey::Policy, WhatIfKey::Local}) {
    const std::string prefix{PrefixOf(key)};
    if (ToLowerAscii(WideToUtf8(name.substr(0, prefix.size()))) != ToLowerAscii(prefix)) continue;
    name.erase(0, prefix.size());
    return key;
  }
  return WhatIfKey::Effective;
}

// The message does not contain the value, which may be a secret.
WhatIfSetting ParseWhatIf(const std::wstring& text) {
  const std::size_t end = text.find(L'=');
  if (end == std::wstring::npos) ThrowUsage("--what-if requires Setting=value");
  std::wstring name = text.substr(0, end);
  const std::string entered = Quoted(name);
  const WhatIfKey key = TakeKey(name);
  const SettingInfo* const setting = FindSetting(WideToUtf8(name));
  if (setting == nullptr) {
    // Text after the name of the secret may be the secret itself.
    ThrowUsage("--what-if: unknown setting " +
               (ToLowerAscii(name).starts_with(L"skey") ? "that starts with SKey" : entered));
  }
  const std::wstring value = text.substr(end + 1);
  // A shell may or may not remove the quotation marks of an empty text.
  return {setting, key != WhatIfKey::Effective && value == L"\"\"" ? std::wstring{} : value, key};
}

void AddWhatIf(Options& options, const std::wstring& text) {
  WhatIfSetting whatIf = ParseWhatIf(text);
  const bool again = std::any_of(
      options.whatIfSettings.begin(), options.whatIfSettings.end(),
      [&](const WhatIfSetting& other) { return other.setting == whatIf.setting && other.key == whatIf.key; });
  if (again) {
    ThrowUsage("--what-if names " + std::string{PrefixOf(whatIf.key)} + std::string{whatIf.setting->name} +
               " more than once");
  }
  options.whatIfSettings.push_back(std::move(whatIf));
}

constexpr Tools::Option<Options> kOptions[] = {
    {L"--event", false, [](Options& o, const std::wstring&) { o.event = true; }},
    {L"--json", false, [](Options& o, const std::wstring&) { o.json = true; }},
    {L"--no-color", false, [](Options& o, const std::wstring&) { o.noColor = true; }},
    {L"--html", true, [](Options& o, const std::wstring& value) { o.htmlFile = value; }},
    {L"--require", true, [](Options& o, const std::wstring& list) { AddDemand(o.demand, list); }},
    {L"--version", false, [](Options& o, const std::wstring&) { o.version = true; }},
    {L"--what-if", true, AddWhatIf},
};

}  // namespace

Options ParseOptions(const std::vector<std::wstring>& arguments) {
  Options options;
  options.help = Tools::ApplyOptions<Options>(arguments, kOptions, options);
  if (options.demand == Demand{}) options.demand = kDefaultDemand;
  if (options.event && !options.whatIfSettings.empty()) {
    ThrowUsage("--event records the current state and cannot be combined with --what-if");
  }
  return options;
}

void AddDemand(Demand& demand, const std::wstring& list) {
  std::istringstream names{WideToUtf8(list) + ","};
  for (std::string name; std::getline(names, name, ',');) {
    const auto kind =
        std::find_if(kSignIns.begin(), kSignIns.end(), [&](SignIn row) { return NameOf(row) == name; });
    if (kind == kSignIns.end()) {
      ThrowUsage("--require requires a list of console, remote and elevation, not " +
                 Quoted(list.substr(0, list.find(L'='))));
    }
    if (demand[IndexOf(*kind)]) ThrowUsage("--require names " + name + " more than once");
    demand[IndexOf(*kind)] = true;
  }
}

void PrintVersion(std::ostream& out) {
  out << "KuvFilterCheck " << ToolVersion() << '\n';
}

void PrintUsage(std::ostream& out) {
  out << R"(Checks the credential provider filter on this machine: its settings, its
registration, its log, and what users see at each kind of sign-in. Does not change the
machine: --html creates a new file, --event an event in the event log, and --what-if a
volatile registry key below HKEY_CURRENT_USER that is deleted at the end. Run it as an
administrator: other users cannot read the settings.

KuvFilterCheck [option...]

  --require LIST           the kinds of sign-in that must be covered, separated by commas:
                           console, remote, elevation. Default: console,remote. A kind is
                           covered if it is protected and a Kuv provider remains there
  --what-if Setting=value  show the result if the setting had this value, and what would
                           change. Can be repeated. Numbers are decimal, or hexadecimal
                           with 0x. Separate the entries of a list with commas. Without a
                           value, the setting is treated as not set. The value is written
                           to the policy key if that contains the setting, else to the
                           local key
  --what-if Policy:Setting=value, Local:Setting=value
                           write the value to that key. Without a value, it is an empty
                           text or list; the value - removes the setting from the key
  --json                   write the results as JSON (see Docs/FilterCheck.md)
  --html FILE              also write the results to a new HTML file; fails if it exists
  --event                  also write the current state to the Windows event log, as one
                           event of the source Kuvant (see Docs/FilterCheck.md)
  --no-color               do not use colors on a console; same as setting NO_COLOR
  --version                show the version of this program
  --help, -h, /?           show this help

Exit codes (with --what-if, for the assumed settings)
  0  every required kind of sign-in is covered, no warnings or problems
  1  every required kind of sign-in is covered, with warnings or problems
  2  a required kind of sign-in is not covered: the second factor is not required there,
     or no one can sign in there
  3  wrong usage or internal error, for example an event that cannot be written

Examples
  KuvFilterCheck
  KuvFilterCheck --require remote
  KuvFilterCheck --event --require console,remote,elevation
  KuvFilterCheck --html C:\Temp\check.html
  KuvFilterCheck --what-if RdpOnly=1 --what-if Policy:ElevationProtectionMode=2
  KuvFilterCheck --what-if "ProvidersWhitelist={D6886603-9D2F-4EB2-B667-1971041FA96B}"
  KuvFilterCheck --json > check.json
)";
}

}  // namespace FilterCheck
