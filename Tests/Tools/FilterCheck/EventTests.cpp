// The option --event: what is passed to the Windows event log.
#include <algorithm>
#include <sstream>

#include <gmock/gmock.h>
#include <json/json.h>

#include "FilterCheck/FilterCheck.h"
#include "FilterCheck/Output/Output.h"
#include "Support/RecordedEvents.h"
#include "Tools/FilterCheck/ExampleReport.h"
#include "Tools/FilterCheck/RegisteredMachine.h"

namespace {

using FilterCheck::EventText;
using FilterCheck::Finding;
using FilterCheck::Report;
using FilterCheck::Severity;
using KuvTest::ExampleReport;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr std::size_t kMostCharacters = 31839;

Json::Value JsonIn(const std::string& text) {
  Json::Value value;
  std::istringstream in{text};
  in >> value;
  return value;
}

Finding FindingOf(const std::string& id, Severity severity) {
  return {id, severity, "subject", "text", "advice"};
}

// As many findings as a machine cannot have.
Report ReportWithFindings(std::size_t count) {
  Report report = ExampleReport();
  for (std::size_t i = 0; i < count; ++i) {
    report.now.findings.push_back(FindingOf("setting.number-" + std::to_string(i), Severity::Warning));
  }
  return report;
}

TEST(EventText, IsOneLineOfJson) {
  Report report = ExampleReport();
  report.now.findings = {FindingOf("c.problem", Severity::Problem), FindingOf("a.note", Severity::Note)};
  KuvTest::Conclude(report);
  const std::string text = EventText(report);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 0);
  EXPECT_THAT(text, HasSubstr(",\"exitCode\":1,\"filterVersion\":"));
  EXPECT_EQ(JsonIn(text), JsonIn(R"({
    "program": "KuvFilterCheck", "schema": 1, "machine": "PC-17", "time": "2026-11-21T09:30:00Z",
    "toolVersion": "4.3.1700.1150", "filterVersion": "4.3.1700.1150", "windowsVersion": "10.0.19045.3086",
    "require": ["console", "remote"], "exitCode": 1, "verdict": ")" +
                                 report.now.verdict.text + R"(", "obstacle": "none",
    "coverage": {"console": "required", "remote": "required", "elevation": "off"},
    "findings": ["c.problem", "a.note"], "findingsOmitted": 0})"));
}

TEST(EventText, HasTheFieldsOfItsSchema) {
  const std::string bytes = KuvTest::ReadFileBytes(Utf8ToWide(KUV_EVENT_SCHEMA));
  ASSERT_THAT(bytes, Not(IsEmpty()));
  const Json::Value schema = JsonIn(bytes);
  const Json::Value event = JsonIn(EventText(ExampleReport()));
  EXPECT_EQ(event.getMemberNames(), schema["properties"].getMemberNames());
  EXPECT_EQ(event["schema"], schema["properties"]["schema"]["const"]);
  EXPECT_EQ(event["program"], schema["properties"]["program"]["const"]);
  EXPECT_EQ(event["coverage"].getMemberNames(),
            schema["$defs"]["eventCoverage"]["properties"].getMemberNames());
}

TEST(EventText, NamesEachFindingOnce) {
  Report report = ExampleReport();
  for (const char* const id : {"b.warning", "a.note", "b.warning", "a.note"}) {
    report.now.findings.push_back(FindingOf(id, Severity::Note));
  }
  const Json::Value findings = JsonIn(EventText(report))["findings"];
  EXPECT_EQ(findings, JsonIn(R"(["b.warning", "a.note"])"));
}

TEST(EventText, IsAsciiWithoutPercentSigns) {
  Report report = ExampleReport();
  report.host.name = "PC-\xC3\xA9\xF0\x9F\x98\x80 %1%";
  report.now.verdict.text = "It is %2.";
  const std::string text = EventText(report);
  EXPECT_TRUE(std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~' && c != '%'; }));
  EXPECT_EQ(JsonIn(text)["machine"], report.host.name);
  EXPECT_EQ(JsonIn(text)["verdict"], "It is %2.");
}

TEST(EventText, CountsTheFindingsThatDoNotFit) {
  const std::string text = EventText(ReportWithFindings(5000));
  EXPECT_LE(text.size(), kMostCharacters);
  EXPECT_GT(text.size(), kMostCharacters - 40);
  const Json::Value event = JsonIn(text);
  EXPECT_EQ(event["findings"][0], "setting.number-0");
  EXPECT_GT(event["findingsOmitted"].asUInt(), 0u);
  EXPECT_EQ(event["findings"].size() + event["findingsOmitted"].asUInt(), 5000u);
}

// A finding is left out only if the text would otherwise be within 4 characters of the limit, or above it:
// the count of omitted findings has 4 digits at first and 1 in the end, and a list of findings has one comma
// less.
TEST(EventText, FillsTheLimit) {
  Report report = ReportWithFindings(1400);
  const std::size_t size = EventText(report).size();
  ASSERT_EQ(JsonIn(EventText(report))["findingsOmitted"], 0);
  ASSERT_LT(size, kMostCharacters - 20);
  constexpr std::size_t kQuotesAndComma = 3;
  report.now.findings.push_back(
      FindingOf(std::string(kMostCharacters - 4 - size - kQuotesAndComma, 'x'), Severity::Note));
  EXPECT_EQ(EventText(report).size(), kMostCharacters - 4);
  EXPECT_EQ(JsonIn(EventText(report))["findingsOmitted"], 0);
  report.now.findings.back().id += "x";
  EXPECT_EQ(EventText(report).size(), size);
  EXPECT_EQ(JsonIn(EventText(report))["findingsOmitted"], 1);
}

TEST(EventText, TruncatesLongVerdict) {
  Report report = ReportWithFindings(5000);
  report.host.name = std::string(255, '%');
  for (int i = 0; i < 9000; ++i) report.now.verdict.text += "\xE4\xB8\xAD";
  const std::string text = EventText(report);
  EXPECT_LE(text.size(), kMostCharacters);
  const std::string verdict = JsonIn(text)["verdict"].asString();
  EXPECT_TRUE(verdict.ends_with("\xE4\xB8\xAD..."));
  EXPECT_LT(verdict.size(), 3400u);
}

class FilterCheckEvent : public KuvTest::RegisteredMachine, protected KuvTest::EventRecorder {
 protected:
  int Run(const std::vector<std::wstring>& arguments = {L"--event"}) {
    out_.str({});
    err_.str({});
    return FilterCheck::RunFilterCheck(arguments, out_, err_, /*isConsole=*/false);
  }
  // Runs the program, which must return the exit code, and returns the type of its only event.
  WORD TypeOfEvent(int exitCode, const std::vector<std::wstring>& arguments = {L"--event"}) {
    events.clear();
    EXPECT_EQ(Run(arguments), exitCode);
    EXPECT_EQ(Err(), "");
    EXPECT_EQ(events.size(), 1u);
    return events.empty() ? WORD{0xFFFF} : events[0].type;
  }
  std::string Out() const { return out_.str(); }
  std::string Err() const { return err_.str(); }

 private:
  std::ostringstream out_;
  std::ostringstream err_;
};

TEST_F(FilterCheckEvent, IsWrittenOnRequestOnly) {
  EXPECT_EQ(Run({L"--json"}), 0);
  EXPECT_THAT(events, IsEmpty());
  EXPECT_EQ(Run({L"--event", L"--json"}), 0);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].identifier, 0xC0020000u);
  const Json::Value event = JsonIn(events[0].text);
  const Json::Value answer = JsonIn(Out());
  EXPECT_EQ(event["verdict"], answer["now"]["verdict"]);
  EXPECT_EQ(event["time"], answer["time"]);
  EXPECT_EQ(event["machine"], answer["machine"]);
  EXPECT_EQ(event["toolVersion"], answer["host"]["toolVersion"]);
  EXPECT_EQ(event["filterVersion"], answer["host"]["filterVersion"]);
  EXPECT_EQ(event["windowsVersion"], answer["host"]["windowsVersion"]);
  EXPECT_EQ(event["findings"].size(), answer["now"]["findings"].size());
}

TEST_F(FilterCheckEvent, HasTypeOfSeverity) {
  EXPECT_EQ(TypeOfEvent(0), EVENTLOG_INFORMATION_TYPE);
  registry.Local().SetDword(L"WrapSmartCards", 1);
  EXPECT_EQ(TypeOfEvent(1), EVENTLOG_WARNING_TYPE);
  registry.Local().DeleteValue(L"WrapSmartCards");
  // No finding, but a required kind of sign-in is not covered.
  EXPECT_EQ(TypeOfEvent(2, {L"--event", L"--require", L"elevation"}), EVENTLOG_ERROR_TYPE);
  registry.Local().DeleteValue(L"SKey");
  EXPECT_EQ(TypeOfEvent(2), EVENTLOG_ERROR_TYPE);
}

// Users can sign in where it is required, but elsewhere no one can.
TEST_F(FilterCheckEvent, IsErrorForProblemOfKindThatIsNotRequired) {
  registry.Local().SetDword(L"ElevationProtectionMode", 1);
  ProviderKey(KuvTest::kKuvText).Delete();
  ProviderKey(KuvTest::kKuvSmartCardText).SetText(L"", L"Kuv smart card");
  registry.Local().SetDword(L"RdpOnly", 0);
  Run({L"--event", L"--require", L"console"});
  ASSERT_EQ(events.size(), 1u);
  EXPECT_THAT(events[0].text, HasSubstr("\"decision.locked-out\""));
  EXPECT_EQ(events[0].type, EVENTLOG_ERROR_TYPE);
}

TEST_F(FilterCheckEvent, DoesNotContainSecret) {
  Run();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_THAT(events[0].text, Not(HasSubstr("sample-secret")));
}

TEST_F(FilterCheckEvent, FailureIsReportedWithExitCodeThree) {
  report.Answer([](auto, auto, auto, auto, auto, auto, auto, auto, auto) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  });
  EXPECT_EQ(Run(), 3);
  EXPECT_EQ(Out(), "");
  EXPECT_THAT(Err(), testing::MatchesRegex("KuvFilterCheck: cannot write the event to the Windows event log: "
                                           ".*\\(error 5\\)\n"));
  open.Answer([](auto, auto) -> HANDLE {
    ::SetLastError(RPC_S_SERVER_UNAVAILABLE);
    return nullptr;
  });
  EXPECT_EQ(Run(), 3);
  EXPECT_THAT(Err(), HasSubstr("(error 1722)\n"));
}

TEST_F(FilterCheckEvent, ChangesNothingElse) {
  const std::string before = KuvTest::Snapshot();
  Run();
  EXPECT_EQ(KuvTest::Snapshot(), before);
  EXPECT_THAT(appData.Names(), IsEmpty());
}

}  // namespace
