// Compares the decisions in the report with those of the built DLL in KuvFilterHost.
#include "Tools/FilterCheck/SettingsFixture.h"
#include "Tools/FilterHost/HostFixture.h"

namespace {

using namespace KuvTest;
using FilterCheck::Decision;
using FilterCheck::DecisionReport;
using FilterCheck::Examine;
using FilterCheck::Outcome;
using FilterCheck::Session;

class DecisionMatrix : public SettingsFixture {
 protected:
  // Loads the DLL again and calls it in a session of that kind.
  Json::Value AskDll(Session session) const {
    const FilterModule dll;
    ImportHook<decltype(&::GetSystemMetrics)> metrics{dll.Get(), "GetSystemMetrics"};
    metrics.Answer([session](int) { return session == Session::Remote ? 1 : 0; });
    ImportHook<decltype(&::SHGetFolderPathW)> logFolder{dll.Get(), "SHGetFolderPathW"};
    logFolder.Answer([](HWND, int, HANDLE, DWORD, LPWSTR) { return E_FAIL; });
    return RunHostJson({L"--dll", FilterDllPath()});
  }

  static void ExpectSame(const Decision& decision, std::size_t scenario, const Json::Value& dll) {
    SCOPED_TRACE(std::string{decision.scenario.name});
    const Json::Value& answer = dll["scenarios"][static_cast<Json::ArrayIndex>(scenario)];
    EXPECT_EQ(answer["name"].asString(), decision.scenario.name);
    EXPECT_EQ(answer["untouched"].asBool(), decision.outcome == Outcome::Untouched);
    ASSERT_EQ(dll["providers"].size(), decision.enabled.size());
    bool kuvLeft = false;
    for (Json::ArrayIndex i = 0; i < dll["providers"].size(); ++i) {
      const Json::Value& provider = dll["providers"][i];
      EXPECT_EQ(provider["enabled"][std::string{decision.scenario.name}].asBool(), decision.enabled[i]);
      kuvLeft =
          kuvLeft || (decision.enabled[i] && provider["clsid"] == "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}");
    }
    // If the Kuv provider is installed, it distinguishes the outcomes.
    EXPECT_EQ(kuvLeft, HasKuv(dll) && decision.outcome != Outcome::Unprotected);
  }

  static bool HasKuv(const Json::Value& dll) {
    for (const Json::Value& provider : dll["providers"]) {
      if (provider["clsid"] == "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}") return true;
    }
    return false;
  }

  void ExpectDllAgrees() const {
    const DecisionReport report = Examine().decision;
    ASSERT_EQ(report.decisions.size(), 12u);
    for (const Session session : {Session::Console, Session::Remote}) {
      SCOPED_TRACE(session == Session::Remote ? "remote" : "console");
      const Json::Value dll = AskDll(session);
      for (std::size_t i = 0; i < 6; ++i) {
        const Decision& decision = report.decisions[(session == Session::Remote ? 6 : 0) + i];
        EXPECT_EQ(decision.session, session);
        ExpectSame(decision, i, dll);
      }
    }
  }
};

constexpr std::uint32_t kAbsent = 0xFFFFFFFF;

void SetOrDelete(const TestKey& key, const wchar_t* name, std::uint32_t number) {
  key.SetDword(name, number);
  if (number == kAbsent) key.DeleteValue(name);
}

TEST_F(DecisionMatrix, MatchesTheDllForCombinationsOfSettings) {
  ProviderKey(kKuvSmartCardText).SetText(L"", L"Kuv smart card");
  unsigned turn = 0;
  for (const std::uint32_t rdpOnly : {kAbsent, 0u, 1u, 2u}) {
    for (const std::uint32_t mode : {kAbsent, 1u, 2u, 3u}) {
      for (const std::uint32_t smartCards : {0u, 1u, 2u, 3u}) {
        SCOPED_TRACE("RdpOnly " + std::to_string(rdpOnly) + " mode " + std::to_string(mode) +
                     " smart cards " + std::to_string(smartCards));
        // Each value is in one of the two keys.
        ++turn;
        SetOrDelete(turn % 2 == 0 ? registry.Local() : registry.Policy(), L"RdpOnly", rdpOnly);
        SetOrDelete(turn % 3 == 0 ? registry.Local() : registry.Policy(), L"ElevationProtectionMode", mode);
        registry.Local().SetDword(L"EnableSmartCards", smartCards & 1);
        registry.Local().SetDword(L"WrapSmartCards", smartCards & 2);
        if (turn % 5 == 0) registry.Local().SetTexts(L"ProvidersWhitelist", {kPasswordText});
        if (turn % 5 == 1) registry.Local().SetTexts(L"ProvidersWhitelist", {});
        ExpectDllAgrees();
      }
    }
  }
}

TEST_F(DecisionMatrix, MatchesTheDllForInvalidSettings) {
  for (const wchar_t* const name : {L"Host", L"IKey", L"SKey"}) {
    SCOPED_TRACE(testing::PrintToString(std::wstring{name}));
    registry.Local().DeleteValue(name);
    ExpectDllAgrees();
    WriteGoodSettings();
  }
  registry.Local().SetText(L"Host", L"a.example:0");
  ExpectDllAgrees();
}

TEST_F(DecisionMatrix, MatchesTheDllForOtherProviders) {
  ProviderKey(kKuvText).Delete();
  ExpectDllAgrees();
  ProviderKey(kKuvSmartCardText).SetText(L"", L"Kuv smart card");
  ExpectDllAgrees();
  registry.Local().SetTexts(L"ProvidersWhitelist", {kPasswordText, kSmartCardText, kForeignText});
  ExpectDllAgrees();
}

}  // namespace
