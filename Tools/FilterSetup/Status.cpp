#include "FilterSetup/Status.h"

#include <ostream>
#include <sstream>

#include "Common/JsonText.h"
#include "FilterSetup/Actions/LogFolder.h"
#include "FilterSetup/Actions/SettingsKeys.h"
#include "FilterSetup/Machine/FilterList.h"
#include "FilterSetup/Model/Changes.h"

namespace FilterSetup {

namespace {

Json::Value JsonOf(const std::vector<Change>& changes, const char* textName) {
  Json::Value list{Json::arrayValue};
  for (const Change& change : changes) {
    Json::Value entry{Json::objectValue};
    entry["subject"] = change.subject;
    entry[textName] = change.text;
    list.append(entry);
  }
  return list;
}

Json::Value JsonOf(const FilterView& view) {
  Json::Value entry{Json::objectValue};
  entry["wow64"] = view.wow64;
  entry["enabled"] = view.enabled;
  entry["registered"] = view.registered;
  return entry;
}

void PrintView(const FilterView& view, std::ostream& out) {
  out << "filter for " << (view.wow64 ? "32" : "64")
      << "-bit programs: " << (view.enabled ? "enabled" : "not enabled")
      << (view.registered ? "" : ", and its class is not registered") << '\n';
}

}  // namespace

ExitCode PrintStatus(bool json, std::ostream& out, std::ostream& err) {
  std::ostringstream text;
  Changes changes{text, err, /*dryRun=*/true};
  PrepareLogFolder(changes);
  PrepareSettingsKeys(changes);
  const ExitCode code = changes.Finish();
  const std::array<FilterView, 2> views = ReadFilterViews();
  if (!json) {
    out << text.str();
    for (const FilterView& view : views) PrintView(view, out);
    return code;
  }
  Json::Value status{Json::objectValue};
  status["changes"] = JsonOf(changes.Made(), "change");
  status["failures"] = JsonOf(changes.Failures(), "reason");
  status["filter"] = Json::Value{Json::arrayValue};
  for (const FilterView& view : views) status["filter"].append(JsonOf(view));
  Tools::WriteJson(status, out);
  return code;
}

}  // namespace FilterSetup
