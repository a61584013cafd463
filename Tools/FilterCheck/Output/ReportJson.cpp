#include <json/json.h>

#include "Common/Identifier.h"
#include "Common/JsonText.h"
#include "FilterCheck/Machine/StoredKeys.h"
#include "FilterCheck/Output/Comparison.h"
#include "FilterCheck/Output/Output.h"

namespace FilterCheck {

namespace {

using Tools::IdentifierText;

constexpr int kSchema = 2;

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

void AddReason(const Reason& reason, Json::Value& row) {
  row["decidedBy"] = reason.decidedBy;
  row["value"] = reason.value;
  row["source"] = reason.value.empty() ? Json::Value::null : TextJson(NameOf(reason.source));
}

Json::Value CoverageJson(const Coverage& coverage) {
  Json::Value value;
  value["state"] = TextJson(NameOf(coverage.state));
  value["ways"] = Json::arrayValue;
  for (const Tools::Provider& way : coverage.ways) value["ways"].append(IdentifierText(way.identifier));
  AddReason(coverage.because, value["because"]);
  return value;
}

Json::Value DecisionJson(const Decision& decision, const Tools::ProviderList& providers) {
  Json::Value row;
  row["scenario"] = TextJson(decision.scenario.name);
  row["session"] = TextJson(NameOf(decision.session));
  row["outcome"] = TextJson(NameOf(decision.outcome));
  AddReason(decision.because, row);
  row["shown"] = Json::arrayValue;
  for (std::size_t i = 0; i < providers.size(); ++i) {
    if (decision.enabled.at(i)) row["shown"].append(IdentifierText(providers[i].identifier));
  }
  return row;
}

Json::Value SituationJson(const Situation& situation) {
  const DecisionReport& decision = situation.decision;
  Json::Value value;
  value["exitCode"] = static_cast<int>(situation.verdict.code);
  value["verdict"] = situation.verdict.text;
  for (const SignIn kind : kSignIns)
    value["coverage"][std::string{NameOf(kind)}] = CoverageJson(situation.coverage[IndexOf(kind)]);
  value["settings"] = SettingsJson(situation.settings);
  value["providers"] = ProvidersJson(decision.providers);
  value["decisions"] = Json::arrayValue;
  for (const Decision& row : decision.decisions) {
    value["decisions"].append(DecisionJson(row, decision.providers));
  }
  value["findings"] = FindingsJson(situation.findings);
  return value;
}

Json::Value HostJson(const Host& host) {
  Json::Value value;
  value["toolVersion"] = host.toolVersion;
  value["filterVersion"] = host.filterVersion;
  value["windowsVersion"] = host.windowsVersion;
  value["architecture"] = host.architecture;
  value["elevated"] = host.elevated;
  value["safeMode"] = host.safeMode;
  return value;
}

Json::Value EvidenceJson(const Evidence& evidence) {
  Json::Value value;
  value["log"] = evidence.log;
  value["exists"] = evidence.exists;
  value["unreadable"] = evidence.unreadable;
  value["lastRun"] = evidence.lastRun;
  value["lastRunFailed"] = evidence.lastRunFailed;
  value["ranSinceStart"] = evidence.ranSinceStart ? Json::Value{*evidence.ranSinceStart} : Json::Value::null;
  value["startOfWindows"] = evidence.startOfWindows;
  for (const SignIn kind : kSignIns) {
    Json::Value& row = value["decisions"][std::string{NameOf(kind)}];
    const std::optional<LoggedDecision>& decision = evidence.decisions[IndexOf(kind)];
    if (!decision) continue;
    row["time"] = decision->time;
    row["outcome"] = TextJson(NameOf(decision->outcome));
  }
  value["errors"] = Json::arrayValue;
  for (const LoggedError& error : evidence.errors) {
    Json::Value row;
    row["time"] = error.time;
    row["text"] = error.text;
    value["errors"].append(row);
  }
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
  value["machine"] = report.host.name;
  value["time"] = report.time;
  value["host"] = HostJson(report.host);
  value["require"] = Json::arrayValue;
  for (const SignIn kind : kSignIns) {
    if (report.demand[IndexOf(kind)]) value["require"].append(TextJson(NameOf(kind)));
  }
  value["obstacle"] = TextJson(NameOf(report.obstacle));
  value["assumptions"] = Json::arrayValue;
  for (const WhatIfSetting& whatIf : report.whatIfSettings) {
    Json::Value row;
    row["setting"] = TextJson(whatIf.setting->name);
    row["value"] = WhatIfValue(whatIf);
    value["assumptions"].append(row);
  }
  value["now"] = SituationJson(report.now);
  value["assumed"] = report.whatIf ? SituationJson(*report.whatIf) : Json::Value::null;
  value["registration"] = RegistrationJson(report.registration);
  value["evidence"] = EvidenceJson(report.evidence);
  Tools::WriteJson(value, out);
}

}  // namespace FilterCheck
