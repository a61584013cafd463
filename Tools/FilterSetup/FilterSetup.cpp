#include "FilterSetup/FilterSetup.h"

#include <exception>
#include <ostream>

#include "FilterSetup/Actions/ClientKey.h"
#include "FilterSetup/Actions/FilterSwitch.h"
#include "FilterSetup/Actions/LogFolder.h"
#include "FilterSetup/Actions/SettingsKeys.h"
#include "FilterSetup/Machine/Caller.h"
#include "FilterSetup/Model/Changes.h"
#include "FilterSetup/Options.h"
#include "FilterSetup/Status.h"

namespace FilterSetup {

namespace {

void Apply(const Options& options, Changes& changes, std::ostream& err) {
  switch (options.command) {
    case Command::Prepare:
      PrepareLogFolder(changes);
      PrepareSettingsKeys(changes);
      break;
    case Command::SetKey:
      SetClientKey(options.from, changes);
      break;
    case Command::Disable:
      DisableFilter(changes, err);
      break;
    case Command::Enable:
      EnableFilter(options.demand, options.force, changes, err);
      break;
    case Command::Help:
    case Command::Version:
    case Command::Status:
      break;
  }
}

ExitCode RunElevated(const Options& options, std::ostream& out, std::ostream& err) {
  if (!IsElevated()) throw Tools::ToolError{"administrative rights are required; run it as an administrator"};
  EnablePrivileges();
  if (options.command == Command::Status) return PrintStatus(options.json, out, err);
  Changes changes{out, err, options.dryRun};
  Apply(options, changes, err);
  return changes.Finish();
}

ExitCode Run(const Options& options, std::ostream& out, std::ostream& err) {
  if (options.command == Command::Help) {
    PrintUsage(out);
  } else if (options.command == Command::Version) {
    PrintVersion(out);
  } else {
    return RunElevated(options, out, err);
  }
  return ExitCode::Done;
}

}  // namespace

int RunFilterSetup(const std::vector<std::wstring>& arguments, std::ostream& out, std::ostream& err) {
  ExitCode code = ExitCode::Failed;
  try {
    code = Run(ParseOptions(arguments), out, err);
  } catch (const RefusedError& error) {
    err << "KuvFilterSetup: " << error.what() << '\n';
    code = ExitCode::Refused;
  } catch (const std::exception& error) {
    err << "KuvFilterSetup: " << error.what() << '\n';
  }
  return static_cast<int>(code);
}

}  // namespace FilterSetup
