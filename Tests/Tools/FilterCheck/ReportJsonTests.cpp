#include <sstream>

#include <gmock/gmock.h>
#include <json/json.h>

#include "FilterCheck/Output/Output.h"
#include "Tools/FilterCheck/ExampleReport.h"

namespace {

using FilterCheck::Report;
using FilterCheck::Severity;
using KuvTest::ExampleReport;
using KuvTest::ExampleWhatIf;

Json::Value Parsed(const std::string& text) {
  Json::Value value;
  std::istringstream in{text};
  in >> value;
  return value;
}

Json::Value JsonOf(const Report& report) {
  std::ostringstream out;
  FilterCheck::PrintJson(report, out);
  return Parsed(out.str());
}

TEST(ReportJson, HasSchemaMachineAndTime) {
  const Json::Value json = JsonOf(ExampleReport());
  EXPECT_EQ(json["schema"], Json::Value{2});
  EXPECT_EQ(json["machine"], "PC-17");
  EXPECT_EQ(json["time"], "2026-11-21T09:30:00Z");
  EXPECT_EQ(json["assumptions"], Json::Value{Json::arrayValue});
  EXPECT_TRUE(json["assumed"].isNull());
}

TEST(ReportJson, HasSettingsWithStoredValues) {
  EXPECT_EQ(JsonOf(ExampleReport())["now"]["settings"], Parsed(R"([
    {"name": "Host", "effective": "auth.kuv.example:443", "source": "local", "policy": null,
     "local": {"type": "REG_SZ", "bytes": 34, "value": "auth.kuv.example"}},
    {"name": "SKey", "effective": "set", "source": "local",
     "policy": {"type": "REG_SZ", "bytes": 2, "value": "empty"},
     "local": {"type": "REG_SZ", "bytes": 60, "value": "set"}},
    {"name": "RdpOnly", "effective": "0", "source": "default", "policy": null, "local": null}])"));
}

TEST(ReportJson, HasProvidersAndDecisions) {
  const Json::Value now = JsonOf(ExampleReport())["now"];
  EXPECT_EQ(now["providers"],
            Parsed("[{\"clsid\": \"{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}\", \"name\": \"Password\"},"
                   "{\"clsid\": \"{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}\", \"name\": \"Kuv\xC3\xA9\"},"
                   "{\"clsid\": \"{11111111-2222-3333-4444-555555555555}\", \"name\": \"\"}]"));
  ASSERT_EQ(now["decisions"].size(), 12u);
  EXPECT_EQ(now["decisions"][1], Parsed(R"({
    "scenario": "unlock", "session": "console", "outcome": "protected", "decidedBy": "ElevationProtectionMode",
    "value": "0", "source": "default", "shown": ["{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}"]})"));
  EXPECT_EQ(now["decisions"][11], Parsed(R"({
    "scenario": "plap", "session": "remote", "outcome": "unprotected", "decidedBy": "never protected",
    "value": "", "source": null,
    "shown": ["{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}", "{11111111-2222-3333-4444-555555555555}"]})"));
}

TEST(ReportJson, HasCoverage) {
  EXPECT_EQ(JsonOf(ExampleWhatIf())["assumed"]["coverage"], Parsed(R"({
    "console": {"state": "off", "ways": ["{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}", "{11111111-2222-3333-4444-555555555555}"],
                "because": {"decidedBy": "RdpOnly", "value": "1", "source": "policy"}},
    "remote": {"state": "required", "ways": [],
               "because": {"decidedBy": "ElevationProtectionMode", "value": "0", "source": "default"}},
    "elevation": {"state": "off", "ways": ["{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}", "{11111111-2222-3333-4444-555555555555}"],
                  "because": {"decidedBy": "ElevationProtectionMode", "value": "0", "source": "default"}}})"));
}

TEST(ReportJson, HasVerdictAndFindings) {
  Report report = ExampleReport();
  report.now.findings = {{"c.warning", Severity::Warning, "64-bit view", "It is unexpected.", "Look."},
                         {"a.note", Severity::Note, "Thing", "It is so.", ""}};
  KuvTest::Conclude(report);
  const Json::Value now = JsonOf(report)["now"];
  EXPECT_EQ(now["exitCode"], Json::Value{1});
  EXPECT_EQ(now["verdict"], report.now.verdict.text);
  EXPECT_EQ(now["findings"], Parsed(R"([
    {"id": "c.warning", "severity": "warning", "subject": "64-bit view", "text": "It is unexpected.", "advice": "Look."},
    {"id": "a.note", "severity": "note", "subject": "Thing", "text": "It is so.", "advice": ""}])"));
}

TEST(ReportJson, HasObstacle) {
  Report report = ExampleReport();
  EXPECT_EQ(JsonOf(report)["obstacle"], "none");
  report.registration.filter[0].inFilterList = false;
  KuvTest::Conclude(report);
  EXPECT_EQ(JsonOf(report)["obstacle"], "not-loaded");
  EXPECT_EQ(JsonOf(report)["now"]["coverage"]["remote"]["because"],
            Parsed(R"({"decidedBy": "filter not loaded", "value": "", "source": null})"));
  EXPECT_EQ(JsonOf(report)["now"]["exitCode"], Json::Value{2});
}

TEST(ReportJson, HasHostDemandAndEvidence) {
  Report report = ExampleReport();
  report.evidence = {"C:\\kuv.log",         true, "", "2026-11-21 09:00:00", true, false,
                     "2026-11-22 08:00:00", {},   {}};
  report.evidence.decisions[2] = {"2026-11-21 09:00:00", FilterCheck::Outcome::Untouched};
  report.evidence.errors = {{"2026-11-21 08:59:59", "It failed."}};
  const Json::Value json = JsonOf(report);
  EXPECT_EQ(json["host"], Parsed(R"({
    "toolVersion": "4.3.1700.1150", "filterVersion": "4.3.1700.1150", "windowsVersion": "10.0.19045.3086",
    "architecture": "x64", "elevated": true, "safeMode": "off"})"));
  EXPECT_EQ(json["require"], Parsed(R"(["console", "remote"])"));
  EXPECT_EQ(json["evidence"], Parsed(R"({
    "log": "C:\\kuv.log", "exists": true, "unreadable": "", "lastRun": "2026-11-21 09:00:00", "lastRunFailed": true,
    "ranSinceStart": false, "startOfWindows": "2026-11-22 08:00:00",
    "decisions": {"console": null, "remote": null,
                  "elevation": {"time": "2026-11-21 09:00:00", "outcome": "untouched"}},
    "errors": [{"time": "2026-11-21 08:59:59", "text": "It failed."}], "lastRunFoundNoKuvProvider": false})"));
  EXPECT_TRUE(JsonOf(ExampleReport())["evidence"]["ranSinceStart"].isNull());
}

TEST(ReportJson, HasRegistration) {
  Report report = ExampleReport();
  report.registration.others = {{true, "{1}", "Other", "C:\\o.dll", true}};
  report.registration.prohibitFallbacks = 1;
  report.registration.excludedProviders = "{E}";
  report.registration.defaultProvider = "{D}";
  EXPECT_EQ(JsonOf(report)["registration"], Parsed(R"({
    "filter": [
      {"view": "64-bit", "inFilterList": true, "module": "C:\\K\\KuvCredFilter.dll", "onlyForThisUser": false,
       "threadingModel": "Apartment", "moduleExists": true, "architectureFits": true,
       "architecture": "x64", "version": "4.3.1700.1150", "sameAsBeside": true},
      {"view": "32-bit", "inFilterList": false, "module": null, "onlyForThisUser": false, "threadingModel": "",
       "moduleExists": false, "architectureFits": false, "architecture": "", "version": "", "sameAsBeside": null}],
    "otherFilters": [
      {"view": "32-bit", "clsid": "{1}", "name": "Other", "module": "C:\\o.dll", "moduleExists": true}],
    "kuvProviderInstalled": true, "kuvSmartCardProviderInstalled": false,
    "excludedCredentialProviders": "{E}", "defaultCredentialProvider": "{D}", "prohibitFallbacks": 1})"));
  EXPECT_TRUE(JsonOf(ExampleReport())["registration"]["prohibitFallbacks"].isNull());
}

TEST(ReportJson, HasBothSituationsForWhatIf) {
  Report report = ExampleWhatIf();
  report.whatIfSettings.push_back(
      {FilterCheck::FindSetting("SKey"), L"letters", FilterCheck::WhatIfKey::Policy});
  const Json::Value json = JsonOf(report);
  EXPECT_EQ(json["assumptions"], Parsed(R"([{"key": "effective", "setting": "RdpOnly", "value": "1"},
                       {"key": "policy", "setting": "SKey", "value": "set"}])"));
  EXPECT_EQ(json["now"]["settings"][2]["effective"], "0");
  EXPECT_EQ(json["assumed"]["settings"][2]["effective"], "1");
}

}  // namespace
