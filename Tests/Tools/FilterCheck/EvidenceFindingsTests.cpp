#include "FilterCheck/Judgment/EvidenceFindings.h"

#include <functional>

#include <gmock/gmock.h>

#include "Tools/FilterCheck/SettingsFixture.h"

namespace {

using FilterCheck::Evidence;
using FilterCheck::Finding;
using FilterCheck::Findings;
using FilterCheck::IndexOf;
using FilterCheck::JudgeEvidence;
using FilterCheck::LoggedDecision;
using FilterCheck::Outcome;
using FilterCheck::Severity;
using FilterCheck::SignIn;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr std::array kPredicted{Outcome::Protected, Outcome::Unprotected, Outcome::Untouched};

// A log whose last decisions are the predicted ones.
Evidence GoodEvidence() {
  Evidence evidence;
  evidence.log = "C:\\kuv.log";
  evidence.exists = true;
  evidence.lastRun = "2026-11-22 09:30:00";
  evidence.ranSinceStart = true;
  evidence.startOfWindows = "2026-11-22 08:00:00";
  for (std::size_t i = 0; i < kPredicted.size(); ++i)
    evidence.decisions[i] = LoggedDecision{"2026-11-22 09:00:00", kPredicted[i]};
  return evidence;
}

TEST(EvidenceFindings, ReportWhatTheLogShows) {
  struct Row {
    const char* name;
    std::function<void(Evidence&)> change;
    std::vector<std::string> ids;
    Severity severity = Severity::Warning;
    const char* subject = "C:\\kuv.log";
    const char* text = "";
    const char* advice = "";
  };
  const Row rows[] = {
      {"as predicted", [](Evidence&) {}, {}},
      {"no decision of a kind", [](Evidence& e) { e.decisions[1].reset(); }, {}},
      {"no log",
       [](Evidence& e) { e.exists = false; },
       {"evidence.no-log"},
       Severity::Note,
       "C:\\kuv.log",
       "C:\\kuv.log does not exist"},
      {"not readable",
       [](Evidence& e) { e.unreadable = "Access denied. (error 5)"; },
       {"evidence.unreadable"},
       Severity::Note,
       "C:\\kuv.log",
       "Access denied. (error 5)",
       "as an administrator"},
      {"no decision since the start",
       [](Evidence& e) { e.ranSinceStart = false; },
       {"evidence.never-ran"},
       Severity::Warning,
       "C:\\kuv.log",
       "start of Windows (2026-11-22 08:00:00). The last one was at 2026-11-22 09:30:00."},
      {"no decision at all",
       [](Evidence& e) {
         e.ranSinceStart.reset();
         e.lastRun.clear();
         e.decisions = {};
       },
       {"evidence.never-ran"},
       Severity::Warning,
       "C:\\kuv.log",
       "The end of the log shows no decision."},
      {"exception",
       [](Evidence& e) { e.lastRunFailed = true; },
       {"evidence.failed"},
       Severity::Warning,
       "C:\\kuv.log",
       "at 2026-11-22 09:30:00, ended with an exception. The filter hid the Kuv providers"},
      {"no Kuv provider",
       [](Evidence& e) { e.lastRunFoundNoKuvProvider = true; },
       {"evidence.differs"},
       Severity::Warning,
       "C:\\kuv.log",
       "at 2026-11-22 09:30:00, was \"untouched\": Windows offered no Kuv provider"},
      {"another outcome over Remote Desktop",
       [](Evidence& e) {
         e.decisions[1] = LoggedDecision{"2026-11-21 10:00:00", Outcome::Protected};
       },
       {"evidence.differs"},
       Severity::Warning,
       "remote",
       "over Remote Desktop, at 2026-11-21 10:00:00, was \"protected\". With the current settings, it is "
       "\"unprotected\".",
       "Settings page"},
      {"all of it",
       [](Evidence& e) {
         e.ranSinceStart = false;
         e.lastRunFailed = true;
         e.decisions[0]->outcome = Outcome::Unprotected;
         e.decisions[2]->outcome = Outcome::Protected;
       },
       {"evidence.never-ran", "evidence.failed", "evidence.differs", "evidence.differs"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Evidence evidence = GoodEvidence();
    row.change(evidence);
    EXPECT_THAT(JudgeEvidence(evidence, /*loadable=*/false, kPredicted), IsEmpty());
    const Findings findings = JudgeEvidence(evidence, /*loadable=*/true, kPredicted);
    EXPECT_EQ(KuvTest::Ids(findings), row.ids);
    if (row.ids.empty() || findings.empty()) continue;
    EXPECT_EQ(findings.front().severity, row.severity);
    EXPECT_EQ(findings.front().subject, row.subject);
    EXPECT_THAT(findings.front().text, HasSubstr(row.text));
    EXPECT_THAT(findings.front().advice, HasSubstr(row.advice));
    EXPECT_FALSE(findings.front().advice.empty());
  }
}

TEST(EvidenceFindings, ExpectNoKuvProviderIfNothingIsDecided) {
  Evidence evidence = GoodEvidence();
  evidence.decisions = {};
  evidence.lastRunFoundNoKuvProvider = true;
  EXPECT_THAT(JudgeEvidence(evidence, /*loadable=*/true,
                            {Outcome::Untouched, Outcome::Untouched, Outcome::Untouched}),
              IsEmpty());
}

// Every pair of outcomes of every kind.
TEST(EvidenceFindings, CompareEachKind) {
  const std::pair<SignIn, const char*> kinds[] = {
      {SignIn::Console, "The last decision at the console, "},
      {SignIn::Remote, "The last decision over Remote Desktop, "},
      {SignIn::Elevation, "The last decision at an elevation prompt, "}};
  const std::pair<Outcome, std::string> outcomes[] = {{Outcome::Protected, "\"protected\""},
                                                      {Outcome::Unprotected, "\"unprotected\""},
                                                      {Outcome::Untouched, "\"untouched\""}};
  for (const auto& [kind, place] : kinds) {
    for (const auto& [logged, was] : outcomes) {
      for (const auto& [predicted, is] : outcomes) {
        SCOPED_TRACE(place + was + is);
        Evidence evidence = GoodEvidence();
        evidence.decisions = {};
        evidence.decisions[IndexOf(kind)] = LoggedDecision{"T", logged};
        std::array<Outcome, 3> all = kPredicted;
        all[IndexOf(kind)] = predicted;
        const Findings findings = JudgeEvidence(evidence, /*loadable=*/true, all);
        ASSERT_EQ(findings.size(), logged == predicted ? 0u : 1u);
        if (findings.empty()) continue;
        EXPECT_EQ(findings[0].subject, NameOf(kind));
        EXPECT_EQ(findings[0].text,
                  place + std::string{"at T, was "} + was + ". With the current settings, it is " + is + ".");
      }
    }
  }
}

}  // namespace
