#include "FilterHost/Options.h"

#include <algorithm>
#include <ostream>

#include "Common/CommandLine.h"
#include "Common/Identifier.h"
#include "Common/ParseText.h"
#include "Common/ToolError.h"
#include "KuvAuth/Support/Text.h"

namespace FilterHost {

namespace {

using Tools::kScenarios;
using Tools::Quoted;
using Tools::Scenario;
using Tools::ThrowUsage;

// The command line as parsed, before the scenarios and flags are combined.
struct Arguments {
  Options options;
  std::vector<std::string_view> scenarioNames;
  std::optional<DWORD> flags;
};

DWORD ParseFlags(const std::wstring& value) {
  const std::optional<std::uint32_t> flags = Tools::ParseNumber(value);
  if (!flags) {
    ThrowUsage("--flags requires a 32-bit number, decimal or hexadecimal with 0x, not " + Quoted(value));
  }
  return *flags;
}

bool ParseAllow(const std::wstring& value) {
  if (value != L"0" && value != L"1") ThrowUsage("--allow requires 0 or 1, not " + Quoted(value));
  return value == L"1";
}

std::string_view ParseScenario(const std::wstring& value) {
  const std::string text = WideToUtf8(value);
  std::string names;
  for (const Scenario& scenario : kScenarios) {
    if (scenario.name == text) return scenario.name;
    names.append(names.empty() ? "" : ", ").append(scenario.name);
  }
  ThrowUsage("--scenario requires one of " + names + ", not " + Quoted(value));
}

GUID ParseRemoteCredential(const std::wstring& value) {
  const std::optional<GUID> provider = Tools::ParseIdentifier(WideToUtf8(value));
  if (!provider) {
    throw Tools::MalformedIdentifierError{"--remote-credential: " + Quoted(value) +
                                          " is not a braced identifier"};
  }
  return *provider;
}

constexpr Tools::Option<Arguments> kOptions[] = {
    {L"--json", false, [](Arguments& a, const std::wstring&) { a.options.json = true; }},
    {L"--log", false, [](Arguments& a, const std::wstring&) { a.options.log = true; }},
    {L"--dll", true, [](Arguments& a, const std::wstring& value) { a.options.dll = value; }},
    {L"--providers", true, [](Arguments& a, const std::wstring& value) { a.options.providersFile = value; }},
    {L"--scenario", true,
     [](Arguments& a, const std::wstring& value) { a.scenarioNames.push_back(ParseScenario(value)); }},
    {L"--flags", true, [](Arguments& a, const std::wstring& value) { a.flags = ParseFlags(value); }},
    {L"--allow", true, [](Arguments& a, const std::wstring& value) { a.options.allow = ParseAllow(value); }},
    {L"--remote-credential", true,
     [](Arguments& a, const std::wstring& value) {
       a.options.remoteCredential = ParseRemoteCredential(value);
     }},
};

std::vector<Scenario> ChooseScenarios(const std::vector<std::string_view>& names,
                                      std::optional<DWORD> flags) {
  std::vector<Scenario> chosen;
  for (const Scenario& scenario : kScenarios) {
    const bool named = std::find(names.begin(), names.end(), scenario.name) != names.end();
    if (!names.empty() && !named) continue;
    chosen.push_back(scenario);
    if (flags) chosen.back().flags = *flags;
  }
  return chosen;
}

}  // namespace

Options ParseOptions(const std::vector<std::wstring>& arguments) {
  Arguments parsed;
  parsed.options.help = Tools::ApplyOptions<Arguments>(arguments, kOptions, parsed);
  parsed.options.scenarios = ChooseScenarios(parsed.scenarioNames, parsed.flags);
  return parsed.options;
}

void PrintUsage(std::ostream& out) {
  out << R"(Calls the credential provider filter as the logon process does, and shows which
providers it enables in each usage scenario.

KuvFilterHost [option...]

  --dll PATH                load the filter from this file instead of the registered one
  --providers FILE          use the providers in this file instead of the installed ones:
                            one braced identifier and an optional name per line; blank
                            lines and lines that start with # are ignored
  --scenario NAME           use this scenario only; can be repeated: logon, unlock,
                            change-password, credui, elevation, plap
  --flags N                 pass these scenario flags, decimal or hexadecimal with 0x
  --allow 0|1               pass every provider as not allowed (0) or allowed (1, default)
  --remote-credential CLSID also show which provider receives a Remote Desktop credential
                            for this provider
  --json                    write the results as JSON
  --log                     show the lines that this run added to the filter's log
  --help, -h, /?            show this help

The filter is called twice for each scenario, with every provider allowed and with every
provider not allowed, to detect whether it writes the flags or leaves them "untouched".

Exit codes
  0  the filter returned its decisions
  1  other failure
  2  unknown option or bad value
  3  malformed identifier, in the providers file or on the command line
  4  cannot read file
  5  no providers
  6  filter not registered
  7  cannot load filter DLL
  8  DLL has no DllGetClassObject
  9  cannot create filter
)";
}

}  // namespace FilterHost
