#include "FilterSetup/Options.h"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <span>
#include <string_view>

#include "Common/CommandLine.h"
#include "FilterCheck/Options.h"

namespace FilterSetup {

namespace {

using Option = Tools::Option<Options>;

void AddDemand(Options& options, const std::wstring& list) {
  FilterCheck::AddDemand(options.demand, list);
}

constexpr Option kDryRun{L"--dry-run", false, [](Options& o, const std::wstring&) { o.dryRun = true; }};
constexpr Option kForce{L"--force", false, [](Options& o, const std::wstring&) { o.force = true; }};
constexpr Option kFrom{L"--from", true, [](Options& o, const std::wstring& value) { o.from = value; }};
constexpr Option kJson{L"--json", false, [](Options& o, const std::wstring&) { o.json = true; }};
constexpr Option kRequire{L"--require", true, AddDemand};

constexpr Option kPrepareOptions[] = {kDryRun};
constexpr Option kSetKeyOptions[] = {kFrom, kDryRun};
constexpr Option kStatusOptions[] = {kJson};
constexpr Option kDisableOptions[] = {kDryRun};
constexpr Option kEnableOptions[] = {kRequire, kForce, kDryRun};

struct CommandRow {
  std::wstring_view name;
  Command command;
  std::span<const Option> options;
};

constexpr CommandRow kCommands[] = {
    {L"prepare", Command::Prepare, kPrepareOptions}, {L"set-key", Command::SetKey, kSetKeyOptions},
    {L"status", Command::Status, kStatusOptions},    {L"disable", Command::Disable, kDisableOptions},
    {L"enable", Command::Enable, kEnableOptions},
};

bool IsHelp(const std::wstring& argument) {
  return argument == L"--help" || argument == L"-h" || argument == L"/?";
}

}  // namespace

Options ParseOptions(const std::vector<std::wstring>& arguments) {
  Options options;
  if (std::any_of(arguments.begin(), arguments.end(), IsHelp)) return options;
  if (arguments.empty()) Tools::ThrowUsage("a command is required");
  if (arguments.front() == L"--version") {
    options.command = Command::Version;
    return options;
  }
  const auto row = std::find_if(std::begin(kCommands), std::end(kCommands),
                                [&](const CommandRow& each) { return each.name == arguments.front(); });
  if (row == std::end(kCommands)) {
    Tools::ThrowUsage("the first argument must be prepare, set-key, status, disable or enable");
  }
  options.command = row->command;
  Tools::ApplyOptions<Options>({arguments.begin() + 1, arguments.end()}, row->options, options);
  if (options.demand == FilterCheck::Demand{}) options.demand = FilterCheck::kDefaultDemand;
  return options;
}

void PrintUsage(std::ostream& out) {
  out << R"(Prepares this machine for the credential provider filter, and turns the filter off and
on. Run it as an administrator. Each command can be run again at any time: it writes one
line for each change, or "nothing to change".

KuvFilterSetup COMMAND [option...]

  prepare         create the log folder and the local settings key, or protect them, and
                  protect the policy settings key: owner Administrators, access for SYSTEM
                  and Administrators only. A log folder that belongs to another user is
                  moved aside.
  set-key         write the client key SKey to the local settings key, which must be
                  protected
  status          show what prepare would change, and whether the filter is enabled
  disable         remove the filter from the list of filters, for 64-bit and for 32-bit
                  programs
  enable          put the filter back into the list of filters

Options
  --from FILE     set-key: read SKey from a file instead of standard input: one line, at
                  most 1,023 printable ASCII characters without white space
  --require LIST  enable: the kinds of sign-in that must not become unusable: console,
                  remote and elevation, separated by commas; default console,remote
  --force         enable: do not check them
  --dry-run       prepare, set-key, disable, enable: show the changes, but make none
  --json          status: write the result as JSON (see Docs/FilterSetup.md)
  --version       show the version
  --help          show this help; also -h and /?

Exit codes
  0  done, or nothing to change
  1  something could not be changed; run the command again after you have fixed the cause
  2  refused, because it would not be safe: enable at a kind of sign-in that would be
     locked or without the second factor; set-key with an unprotected key or an invalid
     SKey
  3  wrong usage or not run as an administrator: nothing was changed; or internal error

Examples
  KuvFilterSetup prepare
  KuvFilterSetup set-key --from D:\Deploy\skey.txt
  KuvFilterSetup status --json
  KuvFilterSetup disable
  KuvFilterSetup enable --require console,remote,elevation
)";
}

void PrintVersion(std::ostream& out) {
  out << "KuvFilterSetup " KUV_PRODUCT_VERSION "\n";
}

}  // namespace FilterSetup
