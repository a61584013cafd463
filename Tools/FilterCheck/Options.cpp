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
  throw FilterHost::HostError{FilterHost::ExitCode::Usage, message + "; --help tells the options"};
}

std::string Quoted(const std::wstring& text) {
  return "'" + PlainText(text) + "'";
}

// The value is not told: it may be a secret.
Assumption ParseAssumption(const std::wstring& text) {
  const std::size_t end = text.find(L'=');
  if (end == std::wstring::npos) ThrowUsage("--what-if takes Setting=value");
  const std::wstring name = text.substr(0, end);
  const SettingInfo* const setting = FindSetting(WideToUtf8(name));
  if (setting == nullptr) ThrowUsage("--what-if: there is no setting " + Quoted(name));
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
  // What does not look like an option may be a secret behind a blank too many.
  if (option == std::end(kOptions))
    ThrowUsage(name.starts_with(L"--") ? "unknown option " + Quoted(name) : "an argument that is no option");
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
      ThrowUsage(WideToUtf8(*argument) + " needs a value");
    }
    option.apply(options, *++argument);
  }
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
