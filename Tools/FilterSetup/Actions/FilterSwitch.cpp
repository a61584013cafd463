#include "FilterSetup/Actions/FilterSwitch.h"

#include <windows.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "FilterCheck/FilterCheck.h"
#include "FilterCheck/Judgment/Coverage.h"
#include "FilterSetup/Actions/LogFolder.h"
#include "FilterSetup/Machine/Caller.h"
#include "FilterSetup/Machine/FilterList.h"
#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Logging/SystemEvents.h"
#include "KuvAuth/Startup/LogStartup.h"

namespace FilterSetup {

namespace {

using FilterCheck::CoverageState;
using FilterCheck::SignIn;

// How a change is recorded.
struct Record {
  LogLevel level;
  WORD eventType;
  const wchar_t* text;
};

constexpr Record kDisabled{LogLevel::Warning, EVENTLOG_WARNING_TYPE, L"KuvFilterSetup disabled the filter"};
constexpr Record kEnabled{LogLevel::Info, EVENTLOG_INFORMATION_TYPE, L"KuvFilterSetup enabled the filter"};

void WriteLogLine(const Record& record, std::ostream& err) {
  try {
    if (!IsLogFolderSafe()) {
      err << "KuvFilterSetup: no line was written to the log: the log folder belongs to another user; run "
             "\"KuvFilterSetup prepare\"\n";
      return;
    }
  } catch (const Tools::ToolError& error) {
    err << "KuvFilterSetup: no line was written to the log: the log folder " << error.what() << '\n';
    return;
  }
  if (!StartLogging(/*fileName=*/{})) {
    err << "KuvFilterSetup: no line was written to the log: the file cannot be opened\n";
  }
  KUV_LOG(record.level, L"%s", record.text);
  StopLogging();
}

// The event comes first: while there is no log, the name of the user is not logged.
void WriteRecord(const Record& record, std::ostream& err) {
  if (RecordSystemEvent(record.eventType, std::wstring{record.text} + L". User: " + CallerName()) == 0) {
    err << "KuvFilterSetup: the event cannot be written to the Windows event log\n";
  }
  WriteLogLine(record, err);
}

// Changes the list of filters in one view. Returns whether it was changed.
bool ChangeView(const FilterView& view, void (*change)(bool wow64), const char* text, Changes& changes) {
  try {
    if (!changes.IsDryRun()) change(view.wow64);
    changes.Add(EntryName(view.wow64), text);
    return !changes.IsDryRun();
  } catch (const Tools::ToolError& error) {
    changes.AddFailure(EntryName(view.wow64), error.what());
    return false;
  }
}

// "console: no one could sign in", for each demanded kind for which the filter would be harmful.
std::vector<std::string> Objections(const FilterCheck::Demand& demand) {
  const FilterCheck::Report report = FilterCheck::CheckMachine(FilterCheck::Options{});
  const auto coverage = FilterCheck::CoverageOf(report.now.decision, FilterCheck::Obstacle::None);
  std::vector<std::string> objections;
  for (const SignIn kind : FilterCheck::kSignIns) {
    if (!demand[FilterCheck::IndexOf(kind)]) continue;
    const CoverageState state = coverage[FilterCheck::IndexOf(kind)].state;
    const std::string name{FilterCheck::NameOf(kind)};
    if (state == CoverageState::Locked) objections.push_back(name + " would be locked");
    if (state == CoverageState::NoSecondFactor) objections.push_back(name + " would have no-second-factor");
  }
  return objections;
}

void RequireSafety(const FilterCheck::Demand& demand) {
  const std::vector<std::string> objections = Objections(demand);
  if (objections.empty()) return;
  throw RefusedError{"the filter was not enabled: " + FilterCheck::Joined(objections, "and") +
                     "; run KuvFilterCheck for the reason, or use --force"};
}

}  // namespace

void DisableFilter(Changes& changes, std::ostream& err) {
  bool changed = false;
  for (const FilterView& view : ReadFilterViews()) {
    if (view.enabled) changed = ChangeView(view, RemoveEntry, "deleted", changes) || changed;
  }
  if (changed) WriteRecord(kDisabled, err);
}

void EnableFilter(const FilterCheck::Demand& demand, bool force, Changes& changes, std::ostream& err) {
  const std::array<FilterView, 2> views = ReadFilterViews();
  if (std::none_of(views.begin(), views.end(), [](const FilterView& view) { return view.registered; })) {
    changes.AddFailure("the filter", "cannot be enabled, because its class is not registered; install it");
    return;
  }
  const auto isToBeEnabled = [](const FilterView& view) { return view.registered && !view.enabled; };
  if (std::none_of(views.begin(), views.end(), isToBeEnabled)) return;
  if (!force) RequireSafety(demand);
  bool changed = false;
  for (const FilterView& view : views) {
    if (isToBeEnabled(view)) changed = ChangeView(view, AddEntry, "created", changes) || changed;
  }
  if (changed) WriteRecord(kEnabled, err);
}

}  // namespace FilterSetup
