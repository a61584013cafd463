// The reasons for decisions, and the names of providers.
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
using ::testing::ElementsAre;

// The setting that decided, its value and its source.
class DecisionReason : public SettingsFixture {
 protected:
  static void ExpectReason(const Decision& decision, const char* decidedBy, const char* value,
                           Source source) {
    EXPECT_EQ(decision.because.decidedBy, decidedBy);
    EXPECT_EQ(decision.because.value, value);
    EXPECT_EQ(decision.because.source, source);
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
}

TEST_F(DecisionReason, IsTheFirstMissingSetting) {
  registry.Local().DeleteValue(L"SKey");
  registry.Policy().SetText(L"IKey", L"");
  const DecisionReport report = Examine().decision;
  for (const Decision& decision : report.decisions) ExpectReason(decision, "IKey", "not set", Source::Policy);
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
}

class ProviderNames : public SettingsFixture {
 protected:
  // Returns the names in the order of the registry: that of the identifiers.
  static std::vector<std::string> Names() {
    std::vector<std::string> names;
    for (const Tools::Provider& provider : Examine().decision.providers)
      names.push_back(NameOrIdentifier(provider));
    return names;
  }
};

TEST_F(ProviderNames, AreTheKnownNamesOfWindowsProviders) {
  ProviderKey(kPasswordText).SetText(L"", L"PasswordProvider");
  ProviderKey(kSmartCardText).Delete();
  ProviderKey(kSmartCardText).Create();
  EXPECT_THAT(Names(), ElementsAre("Vendor", "Kuv", "Password", "Smart card"));
}

TEST_F(ProviderNames, AreRegistryNamesOrIdentifiersOfOtherProviders) {
  ProviderKey(kForeignText).SetText(L"", L"Smart\r\ncard\x1b[2J\x202E");
  EXPECT_EQ(Names().front(), "Smart??card?[2J?");
  ProviderKey(kForeignText).Delete();
  ProviderKey(kForeignText).Create();
  EXPECT_EQ(Names().front(), "{11111111-2222-3333-4444-555555555555}");
}

TEST_F(ProviderNames, IncludeTheRegistryNameOfTheKuvProvider) {
  EXPECT_EQ(Names()[1], "Kuv");
  ProviderKey(kKuvText).Delete();
  ProviderKey(kKuvText).Create();
  EXPECT_EQ(Names()[1], "Kuv second factor");
}

}  // namespace
