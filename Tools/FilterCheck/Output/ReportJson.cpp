#include <json/json.h>

#include "Common/Identifier.h"
#include "Common/JsonText.h"
#include "FilterCheck/Judgment/Verdict.h"
#include "FilterCheck/Machine/StoredKeys.h"
#include "FilterCheck/Output/Comparison.h"
#include "FilterCheck/Output/Output.h"

namespace FilterCheck {

namespace {

using Tools::IdentifierText;

constexpr int kSchema = 1;

Json::Value TextJson(std::string_view text) {
  return Json::Value{std::string{text}};
}

Json::Value StoredJson(const std::optional<StoredValue>& stored) {
  if (!stored) return Json::Value::null;
  Json::Value value;
  value["type"] = TypeName(stored->type);
  value["bytes"] = Json::UInt64{stored->bytes};
  value["value"] = stored->shown;
  return value;
}

Json::Value SettingsJson(const std::vector<SettingState>& settings) {
  Json::Value rows{Json::arrayValue};
  for (const SettingState& state : settings) {
    Json::Value row;
    row["name"] = TextJson(state.setting->name);
    row["effective"] = state.effective;
    row["source"] = TextJson(NameOf(state.source));
    row["policy"] = StoredJson(state.policy);
    row["local"] = StoredJson(state.local);
    rows.append(row);
  }
  return rows;
}

Json::Value FindingsJson(const Findings& findings) {
  Json::Value rows{Json::arrayValue};
  for (const Finding& finding : findings) {
    Json::Value row;
    row["id"] = finding.id;
    row["severity"] = TextJson(NameOf(finding.severity));
    row["subject"] = finding.subject;
    row["text"] = finding.text;
    row["advice"] = finding.advice;
    rows.append(row);
  }
  return rows;
}

Json::Value ProvidersJson(const Tools::ProviderList& providers) {
  Json::Value rows{Json::arrayValue};
  for (const Tools::Provider& provider : providers) {
    Json::Value row;
    row["clsid"] = IdentifierText(provider.identifier);
    row["name"] = provider.name;
    rows.append(row);
  }
  return rows;
}

Json::Value DecisionJson(const Decision& decision, const Tools::ProviderList& providers) {
  Json::Value row;
  row["scenario"] = TextJson(decision.scenario.name);
  row["session"] = TextJson(NameOf(decision.session));
  row["outcome"] = TextJson(NameOf(decision.outcome));
  row["decidedBy"] = decision.decidedBy;
  row["value"] = decision.value;
  row["source"] = decision.value.empty() ? Json::Value::null : TextJson(NameOf(decision.source));
  row["shown"] = Json::arrayValue;
  for (std::size_t i = 0; i < providers.size(); ++i) {
    if (decision.enabled.at(i)) row["shown"].append(IdentifierText(providers[i].identifier));
  }
  return row;
}

Json::Value SituationJson(const Report& report, const Situation& situation) {
  const Verdict verdict = Judge(report, situation);
  const DecisionReport& decision = situation.decision;
  Json::Value value;
  value["exitCode"] = static_cast<int>(verdict.code);
  value["verdict"] = verdict.text;
  value["inForce"] = verdict.code != ExitCode::NotInForce;
  value["settings"] = SettingsJson(situation.settings);
  value["providers"] = ProvidersJson(decision.providers);
  value["decisions"] = Json::arrayValue;
  for (const Decision& row : decision.decisions) {
    value["decisions"].append(DecisionJson(row, decision.providers));
  }
  value["sentences"]["console"] = decision.atConsole;
  value["sentences"]["remoteDesktop"] = decision.overRemoteDesktop;
  value["sentences"]["elevation"] = decision.atElevation;
  value["findings"] = FindingsJson(AllFindings(report, situation));
  return value;
}

Json::Value FilterJson(const RegisteredFilter& filter) {
  Json::Value value;
  value["view"] = filter.wow64 ? "32-bit" : "64-bit";
  value["inFilterList"] = filter.inFilterList;
  value["module"] = filter.module ? Json::Value{*filter.module} : Json::Value::null;
  value["onlyForThisUser"] = filter.onlyForThisUser;
  value["threadingModel"] = filter.threadingModel;
  value["moduleExists"] = filter.moduleExists;
  value["architectureFits"] = filter.architectureFits;
  value["sameAsBeside"] = filter.sameAsBeside ? Json::Value{*filter.sameAsBeside} : Json::Value::null;
  return value;
}

Json::Value RegistrationJson(const Registration& registration) {
  Json::Value value;
  value["filter"] = Json::arrayValue;
  for (const RegisteredFilter& filter : registration.filter) value["filter"].append(FilterJson(filter));
  value["otherFilters"] = Json::arrayValue;
  for (const OtherFilter& other : registration.others) {
    Json::Value row;
    row["view"] = other.wow64 ? "32-bit" : "64-bit";
    row["clsid"] = other.identifier;
    row["name"] = other.name;
    row["module"] = other.module;
    row["moduleExists"] = other.moduleExists;
    value["otherFilters"].append(row);
  }
  value["kuvProviderInstalled"] = registration.kuvProviderInstalled;
  value["kuvSmartCardProviderInstalled"] = registration.kuvSmartCardProviderInstalled;
  value["excludedCredentialProviders"] = registration.excludedProviders;
  value["defaultCredentialProvider"] = registration.defaultProvider;
  value["prohibitFallbacks"] = registration.prohibitFallbacks
                                   ? Json::Value{Json::UInt{*registration.prohibitFallbacks}}
                                   : Json::Value::null;
  return value;
}

}  // namespace

void PrintJson(const Report& report, std::ostream& out) {
  Json::Value value;
  value["schema"] = kSchema;
  value["machine"] = report.machine;
  value["time"] = report.time;
  value["assumptions"] = Json::arrayValue;
  for (const WhatIfSetting& whatIf : report.whatIfSettings) {
    Json::Value row;
    row["setting"] = TextJson(whatIf.setting->name);
    row["value"] = WhatIfValue(whatIf);
    value["assumptions"].append(row);
  }
  value["now"] = SituationJson(report, report.now);
  value["assumed"] = report.whatIf ? SituationJson(report, *report.whatIf) : Json::Value::null;
  value["registration"] = RegistrationJson(report.registration);
  Tools::WriteJson(value, out);
}

}  // namespace FilterCheck
