// The reasons for decisions, and the sentences about what a user sees.
#include <gmock/gmock.h>

#include "Tools/FilterCheck/SettingsFixture.h"

namespace {

using namespace KuvTest;
using FilterCheck::Decision;
using FilterCheck::DecisionReport;
using FilterCheck::Examine;
using FilterCheck::Outcome;
using FilterCheck::Session;
using FilterCheck::Source;
using ::testing::HasSubstr;

// The setting that decided, its value and its source.
class DecisionReason : public SettingsFixture {
 protected:
  static void ExpectReason(const Decision& decision, const char* decidedBy, const char* value,
                           Source source) {
    EXPECT_EQ(decision.decidedBy, decidedBy);
    EXPECT_EQ(decision.value, value);
    EXPECT_EQ(decision.source, source);
  }

  static const Decision& Find(const DecisionReport& report, const char* scenario, Session session) {
    for (const Decision& decision : report.decisions) {
      if (decision.scenario.name == scenario && decision.session == session) return decision;
    }
    throw std::runtime_error{"no such decision"};
  }
};

TEST_F(DecisionReason, IsTheModeByDefault) {
  const DecisionReport report = Examine().decision;
  for (const Session session : {Session::Console, Session::Remote}) {
    for (const char* const scenario : {"logon", "unlock", "change-password", "elevation"})
      ExpectReason(Find(report, scenario, session), "ElevationProtectionMode", "0", Source::Default);
    for (const char* const scenario : {"credui", "plap"})
      ExpectReason(Find(report, scenario, session), "never protected", "", Source::Default);
  }
  EXPECT_TRUE(report.inForce);
}

TEST_F(DecisionReason, IsRdpOnlyAtTheConsole) {
  registry.Local().SetDword(L"RdpOnly", 0);
  registry.Policy().SetDword(L"RdpOnly", 1);
  const DecisionReport report = Examine().decision;
  ExpectReason(Find(report, "logon", Session::Console), "RdpOnly", "1", Source::Policy);
  ExpectReason(Find(report, "logon", Session::Remote), "ElevationProtectionMode", "0", Source::Default);
  ExpectReason(Find(report, "elevation", Session::Console), "ElevationProtectionMode", "0", Source::Default);
}

TEST_F(DecisionReason, IsTheModeIfItDoesNotProtectLogon) {
  registry.Local().SetDword(L"RdpOnly", 1);
  registry.Local().SetDword(L"ElevationProtectionMode", 1);
  const DecisionReport report = Examine().decision;
  ExpectReason(Find(report, "logon", Session::Console), "ElevationProtectionMode", "1", Source::Local);
  EXPECT_EQ(Find(report, "logon", Session::Console).outcome, Outcome::Untouched);
  EXPECT_EQ(Find(report, "elevation", Session::Remote).outcome, Outcome::Protected);
  EXPECT_TRUE(report.inForce);
}

TEST_F(DecisionReason, IsTheFirstMissingSetting) {
  registry.Local().DeleteValue(L"SKey");
  registry.Policy().SetText(L"IKey", L"");
  const DecisionReport report = Examine().decision;
  for (const Decision& decision : report.decisions) ExpectReason(decision, "IKey", "not set", Source::Policy);
  EXPECT_FALSE(report.inForce);
  registry.Policy().DeleteValue(L"IKey");
  ExpectReason(Examine().decision.decisions.front(), "SKey", "not set", Source::Default);
  registry.Local().SetText(L"Host", L"a.example:0");
  ExpectReason(Examine().decision.decisions.front(), "Host", "a.example:0", Source::Local);
}

TEST_F(DecisionReason, IsTheMissingProviderFirst) {
  ProviderKey(kKuvText).Delete();
  registry.Local().DeleteValue(L"SKey");
  const DecisionReport report = Examine().decision;
  for (const Decision& decision : report.decisions) {
    ExpectReason(decision, "Kuv provider not installed", "", Source::Default);
    EXPECT_EQ(decision.outcome, Outcome::Untouched);
  }
  EXPECT_FALSE(report.inForce);
}

class DecisionSentences : public SettingsFixture {};

TEST_F(DecisionSentences, DescribeProtectedMachine) {
  registry.Local().SetTexts(L"ProvidersWhitelist", {kPasswordText, kForeignText});
  registry.Local().SetDword(L"ElevationProtectionMode", 2);
  const DecisionReport report = Examine().decision;
  const std::string seen = "sees only Vendor, Kuv and Password. The second factor is required.";
  EXPECT_EQ(report.atConsole, "At the console, a user " + seen);
  EXPECT_EQ(report.overRemoteDesktop, "Over Remote Desktop, a user " + seen);
  EXPECT_EQ(report.atElevation, "At an elevation prompt, a user " + seen);
}

TEST_F(DecisionSentences, DescribeRdpOnly) {
  registry.Local().SetDword(L"RdpOnly", 1);
  const DecisionReport report = Examine().decision;
  EXPECT_EQ(report.atConsole,
            "At the console, a user sees Vendor, Password and Smart card. The second factor is not required, "
            "because RdpOnly is 1 (local setting).");
  EXPECT_EQ(report.overRemoteDesktop,
            "Over Remote Desktop, a user sees only Kuv. The second factor is required.");
  EXPECT_EQ(report.atElevation,
            "At an elevation prompt, a user sees Vendor, Password and Smart card. The second factor is not "
            "required, because ElevationProtectionMode is 0 (default).");
}

TEST_F(DecisionSentences, DescribeElevationOnly) {
  registry.Policy().SetDword(L"ElevationProtectionMode", 1);
  const DecisionReport report = Examine().decision;
  EXPECT_EQ(report.atConsole,
            "At the console, a user sees every provider that Windows offers (Vendor, Kuv, Password and Smart "
            "card). The filter changes nothing, because ElevationProtectionMode is 1 (policy).");
  EXPECT_EQ(report.atElevation,
            "At an elevation prompt, a user sees only Kuv. The second factor is required.");
}

TEST_F(DecisionSentences, DescribeMissingKuvProvider) {
  ProviderKey(kKuvText).Delete();
  EXPECT_EQ(Examine().decision.atConsole,
            "At the console, a user sees every provider that Windows offers (Vendor, Password and Smart "
            "card). The filter changes nothing, because no Kuv provider is installed.");
}

TEST_F(DecisionSentences, DescribeMissingSetting) {
  registry.Local().DeleteValue(L"SKey");
  EXPECT_THAT(Examine().decision.overRemoteDesktop,
              HasSubstr("The second factor is not required, because SKey is not set"));
}

TEST_F(DecisionSentences, UseKnownNamesOfWindowsProviders) {
  registry.Local().SetDword(L"RdpOnly", 1);
  ProviderKey(kPasswordText).SetText(L"", L"PasswordProvider");
  ProviderKey(kSmartCardText).Delete();
  ProviderKey(kSmartCardText).Create();
  EXPECT_THAT(Examine().decision.atConsole, HasSubstr("Vendor, Password and Smart card. The second"));
}

TEST_F(DecisionSentences, UseRegistryNamesOrIdentifiersOfOtherProviders) {
  registry.Local().SetDword(L"RdpOnly", 1);
  ProviderKey(kForeignText).SetText(L"", L"Smart\r\ncard\x1b[2J\x202E");
  EXPECT_THAT(Examine().decision.atConsole, HasSubstr("Smart??card?[2J?, Password"));
  ProviderKey(kForeignText).Delete();
  ProviderKey(kForeignText).Create();
  EXPECT_THAT(Examine().decision.atConsole, HasSubstr("{11111111-2222-3333-4444-555555555555}, Password"));
}

TEST_F(DecisionSentences, UseRegistryNameOfKuvProvider) {
  EXPECT_THAT(Examine().decision.atConsole, HasSubstr("sees only Kuv."));
  ProviderKey(kKuvText).Delete();
  ProviderKey(kKuvText).Create();
  EXPECT_THAT(Examine().decision.atConsole, HasSubstr("sees only Kuv second factor."));
}

TEST_F(DecisionSentences, DescribeMachineWithoutProviders) {
  for (const auto& provider : {kKuvText, kPasswordText, kSmartCardText, kForeignText})
    ProviderKey(provider).Delete();
  const DecisionReport report = Examine().decision;
  EXPECT_TRUE(report.providers.empty());
  EXPECT_THAT(report.atConsole, HasSubstr("(no provider)"));
}

}  // namespace
