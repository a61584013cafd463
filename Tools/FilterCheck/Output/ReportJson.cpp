#include <algorithm>

#include <json/json.h>

#include "Common/Identifier.h"
#include "Common/JsonText.h"
#include "Common/PlainText.h"
#include "FilterCheck/Machine/StoredKeys.h"
#include "FilterCheck/Output/Comparison.h"
#include "FilterCheck/Output/Output.h"

namespace FilterCheck {

namespace {

using Json::Value;
using Tools::IdentifierText;

constexpr int kSchema = 2;
constexpr int kEventSchema = 1;
constexpr std::size_t kMostEventCharacters = 31839;  // the limit of ReportEvent

Value TextJson(std::string_view text) {
  return Value{std::string{text}};
}

template <typename Item>
Value OptionalJson(const std::optional<Item>& item) {
  return item ? Value{*item} : Value::null;
}

Value ObjectJson(std::initializer_list<std::pair<const char*, Value>> members) {
  Value object{Json::objectValue};
  for (const auto& [name, value] : members) object[name] = value;
  return object;
}

template <typename Items, typename Convert>
Value ListJson(const Items& items, Convert convert) {
  Value list{Json::arrayValue};
  for (const auto& item : items) list.append(convert(item));
  return list;
}

// One member for each kind of sign-in.
template <typename Items, typename Convert>
Value KindsJson(const Items& items, Convert convert) {
  Value kinds;
  for (const SignIn kind : kSignIns) kinds[std::string{NameOf(kind)}] = convert(items[IndexOf(kind)]);
  return kinds;
}

Value StoredJson(const std::optional<StoredValue>& stored) {
  if (!stored) return Value::null;
  return ObjectJson(
      {{"type", TypeName(stored->type)}, {"bytes", Json::UInt64{stored->bytes}}, {"value", stored->shown}});
}

Value SettingJson(const SettingState& state) {
  return ObjectJson({{"name", TextJson(state.setting->name)},
                     {"effective", state.effective},
                     {"source", TextJson(NameOf(state.source))},
                     {"policy", StoredJson(state.policy)},
                     {"local", StoredJson(state.local)}});
}

Value FindingJson(const Finding& finding) {
  return ObjectJson({{"id", finding.id},
                     {"severity", TextJson(NameOf(finding.severity))},
                     {"subject", finding.subject},
                     {"text", finding.text},
                     {"advice", finding.advice}});
}

Value ReasonJson(const Reason& reason) {
  return ObjectJson({{"decidedBy", reason.decidedBy},
                     {"value", reason.value},
                     {"source", reason.value.empty() ? Value::null : TextJson(NameOf(reason.source))}});
}

Value CoverageJson(const Coverage& coverage) {
  const auto identifierOf = [](const Tools::Provider& way) { return IdentifierText(way.identifier); };
  return ObjectJson({{"state", TextJson(NameOf(coverage.state))},
                     {"ways", ListJson(coverage.ways, identifierOf)},
                     {"because", ReasonJson(coverage.because)}});
}

Value DecisionJson(const Decision& decision, const Tools::ProviderList& providers) {
  Value row = ReasonJson(decision.because);
  row["scenario"] = TextJson(decision.scenario.name);
  row["session"] = TextJson(NameOf(decision.session));
  row["outcome"] = TextJson(NameOf(decision.outcome));
  row["shown"] = Json::arrayValue;
  for (std::size_t i = 0; i < providers.size(); ++i) {
    if (decision.enabled.at(i)) row["shown"].append(IdentifierText(providers[i].identifier));
  }
  return row;
}

Value SituationJson(const Situation& situation) {
  const Tools::ProviderList& providers = situation.decision.providers;
  const auto providerJson = [](const Tools::Provider& provider) {
    return ObjectJson({{"clsid", IdentifierText(provider.identifier)}, {"name", provider.name}});
  };
  const auto decisionJson = [&](const Decision& decision) { return DecisionJson(decision, providers); };
  return ObjectJson({{"exitCode", static_cast<int>(situation.verdict.code)},
                     {"verdict", situation.verdict.text},
                     {"coverage", KindsJson(situation.coverage, CoverageJson)},
                     {"settings", ListJson(situation.settings, SettingJson)},
                     {"providers", ListJson(providers, providerJson)},
                     {"decisions", ListJson(situation.decision.decisions, decisionJson)},
                     {"findings", ListJson(situation.findings, FindingJson)}});
}

Value HostJson(const Host& host) {
  return ObjectJson({{"toolVersion", host.toolVersion},
                     {"filterVersion", host.filterVersion},
                     {"windowsVersion", host.windowsVersion},
                     {"architecture", host.architecture},
                     {"elevated", host.elevated},
                     {"safeMode", host.safeMode}});
}

Value EvidenceJson(const Evidence& evidence) {
  const auto decisionJson = [](const std::optional<LoggedDecision>& decision) {
    if (!decision) return Value{};
    return ObjectJson({{"time", decision->time}, {"outcome", TextJson(NameOf(decision->outcome))}});
  };
  const auto errorJson = [](const LoggedError& error) {
    return ObjectJson({{"time", error.time}, {"text", error.text}});
  };
  return ObjectJson({{"log", evidence.log},
                     {"exists", evidence.exists},
                     {"unreadable", evidence.unreadable},
                     {"lastRun", evidence.lastRun},
                     {"lastRunFailed", evidence.lastRunFailed},
                     {"ranSinceStart", OptionalJson(evidence.ranSinceStart)},
                     {"startOfWindows", evidence.startOfWindows},
                     {"decisions", KindsJson(evidence.decisions, decisionJson)},
                     {"errors", ListJson(evidence.errors, errorJson)},
                     {"lastRunFoundNoKuvProvider", evidence.lastRunFoundNoKuvProvider}});
}

Value FilterJson(const RegisteredFilter& filter) {
  return ObjectJson({{"view", filter.wow64 ? "32-bit" : "64-bit"},
                     {"inFilterList", filter.inFilterList},
                     {"module", OptionalJson(filter.module)},
                     {"onlyForThisUser", filter.onlyForThisUser},
                     {"threadingModel", filter.threadingModel},
                     {"moduleExists", filter.moduleExists},
                     {"architectureFits", filter.architectureFits},
                     {"architecture", filter.architecture},
                     {"version", filter.version},
                     {"sameAsBeside", OptionalJson(filter.sameAsBeside)}});
}

Value OtherFilterJson(const OtherFilter& other) {
  return ObjectJson({{"view", other.wow64 ? "32-bit" : "64-bit"},
                     {"clsid", other.identifier},
                     {"name", other.name},
                     {"module", other.module},
                     {"moduleExists", other.moduleExists}});
}

Value RegistrationJson(const Registration& registration) {
  return ObjectJson({{"filter", ListJson(registration.filter, FilterJson)},
                     {"otherFilters", ListJson(registration.others, OtherFilterJson)},
                     {"kuvProviderInstalled", registration.kuvProviderInstalled},
                     {"kuvSmartCardProviderInstalled", registration.kuvSmartCardProviderInstalled},
                     {"excludedCredentialProviders", registration.excludedProviders},
                     {"defaultCredentialProvider", registration.defaultProvider},
                     {"prohibitFallbacks", OptionalJson(registration.prohibitFallbacks)}});
}

Value RequireJson(const Demand& demand) {
  Value names{Json::arrayValue};
  for (const SignIn kind : kSignIns) {
    if (demand[IndexOf(kind)]) names.append(TextJson(NameOf(kind)));
  }
  return names;
}

// Event Viewer treats a percent sign with a number as an insertion string.
std::string EventLine(const Value& value) {
  std::string line = Tools::JsonLine(value);
  for (std::size_t at = line.find('%'); at != std::string::npos; at = line.find('%', at)) {
    line.replace(at, 1, "\\u0025");
  }
  return line;
}

std::vector<std::string> DistinctIds(const Findings& findings) {
  std::vector<std::string> ids;
  for (const Finding& finding : findings) {
    if (std::find(ids.begin(), ids.end(), finding.id) == ids.end()) ids.push_back(finding.id);
  }
  return ids;
}

}  // namespace

void PrintJson(const Report& report, std::ostream& out) {
  const auto assumptionJson = [](const WhatIfSetting& whatIf) {
    return ObjectJson({{"key", TextJson(NameOf(whatIf.key))},
                       {"setting", TextJson(whatIf.setting->name)},
                       {"value", WhatIfValue(whatIf)}});
  };
  const Value value = ObjectJson({{"schema", kSchema},
                                  {"machine", report.host.name},
                                  {"time", report.time},
                                  {"host", HostJson(report.host)},
                                  {"require", RequireJson(report.demand)},
                                  {"obstacle", TextJson(NameOf(report.obstacle))},
                                  {"assumptions", ListJson(report.whatIfSettings, assumptionJson)},
                                  {"now", SituationJson(report.now)},
                                  {"assumed", report.whatIf ? SituationJson(*report.whatIf) : Value::null},
                                  {"registration", RegistrationJson(report.registration)},
                                  {"evidence", EvidenceJson(report.evidence)}});
  Tools::WriteJson(value, out);
}

std::string EventText(const Report& report) {
  const auto stateJson = [](const Coverage& coverage) { return TextJson(NameOf(coverage.state)); };
  const std::vector<std::string> ids = DistinctIds(report.now.findings);
  Value event = ObjectJson({{"program", "KuvFilterCheck"},
                            {"schema", kEventSchema},
                            {"machine", report.host.name},
                            {"time", report.time},
                            {"toolVersion", report.host.toolVersion},
                            {"filterVersion", report.host.filterVersion},
                            {"windowsVersion", report.host.windowsVersion},
                            {"require", RequireJson(report.demand)},
                            {"exitCode", static_cast<int>(report.now.verdict.code)},
                            {"verdict", Tools::PlainUtf8(report.now.verdict.text)},
                            {"obstacle", TextJson(NameOf(report.obstacle))},
                            {"coverage", KindsJson(report.now.coverage, stateJson)},
                            {"findings", Value{Json::arrayValue}},
                            {"findingsOmitted", Json::UInt64{ids.size()}}});
  std::size_t size = EventLine(event).size();
  for (const std::string& id : ids) {
    size += id.size() + 3;  // with quotation marks and a comma; an identifier has no characters to escape
    if (size > kMostEventCharacters) break;
    event["findings"].append(id);
  }
  event["findingsOmitted"] = Json::UInt64{ids.size() - event["findings"].size()};
  return EventLine(event);
}

}  // namespace FilterCheck
