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

// What stands on the command line, before the parts that belong together are joined.
struct Arguments {
  Options options;
  std::vector<std::string_view> scenarioNames;
  std::optional<DWORD> flags;
};

DWORD ParseFlags(const std::wstring& value) {
  const std::optional<std::uint32_t> flags = Tools::ParseNumber(value);
  if (!flags) {
    ThrowUsage("--flags takes a number of 32 bits, decimal or 0x and hexadecimal, not " + Quoted(value));
  }
  return *flags;
}

bool ParseAllow(const std::wstring& value) {
  if (value != L"0" && value != L"1") ThrowUsage("--allow takes 0 or 1, not " + Quoted(value));
  return value == L"1";
}

std::string_view ParseScenario(const std::wstring& value) {
  const std::string text = WideToUtf8(value);
  std::string names;
  for (const Scenario& scenario : kScenarios) {
    if (scenario.name == text) return scenario.name;
    names.append(names.empty() ? "" : ", ").append(scenario.name);
  }
  ThrowUsage("--scenario takes one of " + names + ", not " + Quoted(value));
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
  out << R"(Plays the logon process: asks the credential provider filter which of the
providers it leaves enabled, for each usage scenario, and shows the answer.

KuvFilterHost [option...]

  --dll PATH                take the filter from this file instead of the registered one
  --providers FILE          ask about the providers of this file instead of the installed
                            ones: a braced identifier and an optional name a line; blank
                            lines and lines that start with # are passed over
  --scenario NAME           ask for this scenario only; may be given more than once:
                            logon, unlock, change-password, credui, elevation, plap
  --flags N                 pass these scenario flags, decimal or 0x and hexadecimal
  --allow 0|1               pass every provider in as not allowed or allowed (1)
  --remote-credential CLSID ask as well where a credential from a remote connection goes
                            that was meant for this provider
  --json                    show the same facts as JSON
  --log                     show the lines that this run added to the filter's log
  --help                    show this

Each scenario is asked twice, with every provider allowed and with none, since only
both answers together tell whether the filter left the flags alone ("untouched").

Exit codes
  0  the filter answered
  1  another failure
  2  unknown option or bad value
  3  malformed identifier, in the providers file or on the command line
  4  file not readable
  5  no providers to ask about
  6  filter not registered
  7  filter DLL not loadable
  8  DLL has no DllGetClassObject
  9  filter not created
)";
}

}  // namespace FilterHost
