#include <ostream>

#include <json/json.h>

#include "Common/ErrorText.h"
#include "Common/Identifier.h"
#include "Common/JsonText.h"
#include "FilterHost/Report.h"

namespace FilterHost {

namespace {

using Tools::HresultText;
using Tools::IdentifierText;

Json::Value ProvidersJson(const Report& report) {
  Json::Value rows{Json::arrayValue};
  for (std::size_t i = 0; i < report.providers.size(); ++i) {
    Json::Value row;
    row["clsid"] = IdentifierText(report.providers[i].identifier);
    row["name"] = report.providers[i].name;
    for (const ScenarioAnswer& answer : report.scenarios) {
      row["enabled"][std::string{answer.scenario.name}] = answer.allow[i] != FALSE;
    }
    rows.append(row);
  }
  return rows;
}

Json::Value ScenariosJson(const Report& report) {
  Json::Value rows{Json::arrayValue};
  for (const ScenarioAnswer& answer : report.scenarios) {
    Json::Value row;
    row["name"] = std::string{answer.scenario.name};
    row["usageScenario"] = static_cast<int>(answer.scenario.usage);
    row["flags"] = Json::UInt{answer.scenario.flags};
    row["result"] = HresultText(answer.result);
    row["untouched"] = answer.untouched;
    rows.append(row);
  }
  return rows;
}

Json::Value RemoteJson(const RemoteAnswer& remote) {
  Json::Value value;
  value["meantFor"] = IdentifierText(remote.meantFor);
  value["result"] = HresultText(remote.result);
  value["redirected"] = SUCCEEDED(remote.result);
  if (FAILED(remote.result)) return value;
  value["redirectedTo"] = IdentifierText(remote.redirectedTo);
  value["contentUnchanged"] = remote.contentUnchanged;
  return value;
}

}  // namespace

void PrintJson(const Report& report, const std::optional<LogLines>& log, std::ostream& out) {
  Json::Value value;
  value["filter"] = report.filter;
  value["allow"] = report.allow;
  value["providers"] = ProvidersJson(report);
  value["scenarios"] = ScenariosJson(report);
  if (report.remote) value["remoteCredential"] = RemoteJson(*report.remote);
  if (log) {
    value["log"] = Json::arrayValue;
    for (const std::string& line : *log) value["log"].append(line);
  }
  Tools::WriteJson(value, out);
}

}  // namespace FilterHost
