// Reads the log that the built DLL writes.
#include <windows.h>
#include <aclapi.h>

#include <gmock/gmock.h>

#include "FilterCheck/Machine/FilterLog.h"
#include "FilterCheck/Machine/FilterModule.h"
#include "FilterCheck/Machine/HostReader.h"
#include "Support/FilterModule.h"
#include "Tools/FilterCheck/SettingsFixture.h"

namespace {

using namespace KuvTest;
using FilterCheck::Evidence;
using FilterCheck::Outcome;
using FilterCheck::ReadEvidence;
using FilterCheck::SignIn;

struct Circumstances {
  std::uint32_t mode;  // ElevationProtectionMode
  std::uint32_t rdpOnly;
  std::uint32_t debug;
  bool remote;
};

using Decided = std::optional<std::pair<SignIn, Outcome>>;

// Returns what the log shows about a decision; nothing if it does not show the kind of sign-in.
Decided Expected(const Circumstances& given, const Tools::Scenario& scenario) {
  if (scenario.name == "elevation") {
    if (given.mode != 0) return {{SignIn::Elevation, Outcome::Protected}};
    // At the default level, the log does not name the scenario.
    return given.debug == 0 ? Decided{} : Decided{{SignIn::Elevation, Outcome::Unprotected}};
  }
  if (scenario.name == "credui" || scenario.name == "plap") return {};
  const SignIn kind = given.remote ? SignIn::Remote : SignIn::Console;
  if (given.mode == 1) return {{kind, Outcome::Untouched}};
  return {{kind, given.remote || given.rdpOnly == 0 ? Outcome::Protected : Outcome::Unprotected}};
}

Decided OnlyDecision(const Evidence& evidence) {
  Decided found;
  for (const SignIn kind : FilterCheck::kSignIns) {
    const auto& decision = evidence.decisions[IndexOf(kind)];
    if (!decision) continue;
    EXPECT_FALSE(found) << "two decisions";
    EXPECT_EQ(decision->time, evidence.lastRun);
    found = {kind, decision->outcome};
  }
  return found;
}

class FilterLogProduct : public SettingsFixture {
 protected:
  // Loads the DLL, and returns the evidence of one decision after the log has been emptied.
  template <typename Check>
  void ForEachScenario(const Circumstances& given, const Names& providers, const Check& check) const {
    registry.Local().SetDword(L"ElevationProtectionMode", given.mode);
    registry.Local().SetDword(L"RdpOnly", given.rdpOnly);
    registry.Local().SetDword(L"Debug", given.debug);
    const FilterModule dll{appData.Path()};
    ImportHook<decltype(&::SetNamedSecurityInfoW)> protect{dll.Get(), "SetNamedSecurityInfoW"};
    // The test must be able to read the folder.
    protect.Answer([](auto...) { return DWORD{ERROR_SUCCESS}; });
    ImportHook<decltype(&::GetSystemMetrics)> metrics{dll.Get(), "GetSystemMetrics"};
    metrics.Answer([&](int) { return given.remote ? 1 : 0; });
    dll.CreateFilter()->Release();
    ICredentialProviderFilter* const filter = dll.CreateFilter();
    for (const Tools::Scenario& scenario : Tools::kScenarios) {
      SCOPED_TRACE(std::string{scenario.name} + " mode " + std::to_string(given.mode) + " RdpOnly " +
                   std::to_string(given.rdpOnly) + " Debug " + std::to_string(given.debug) +
                   (given.remote ? " remote" : " console"));
      WriteFileBytes(appData.Path(L"Kuvant\\kuv.log"), "");
      std::vector<GUID> identifiers = Guids(providers);
      std::vector<BOOL> allow(providers.size(), TRUE);
      EXPECT_EQ(filter->Filter(scenario.usage, scenario.flags, identifiers.data(), allow.data(),
                               static_cast<DWORD>(identifiers.size())),
                S_OK);
      const Evidence evidence = ReadEvidence();
      EXPECT_TRUE(evidence.exists);
      EXPECT_EQ(evidence.unreadable, "");
      EXPECT_EQ(evidence.ranSinceStart, true);
      check(scenario, evidence);
    }
    filter->Release();
  }
};

TEST_F(FilterLogProduct, ShowsTheDecisionsOfTheDll) {
  for (const std::uint32_t mode : {0u, 1u, 2u}) {
    for (const std::uint32_t rdpOnly : {0u, 1u}) {
      for (const std::uint32_t debug : {0u, 1u, 2u}) {
        for (const bool remote : {false, true}) {
          const Circumstances given{mode, rdpOnly, debug, remote};
          ForEachScenario(given, {kPassword, kKuv}, [&](const auto& scenario, const Evidence& evidence) {
            EXPECT_EQ(OnlyDecision(evidence), Expected(given, scenario));
            EXPECT_FALSE(evidence.lastRunFailed);
            EXPECT_TRUE(evidence.errors.empty());
          });
        }
      }
    }
  }
}

TEST_F(FilterLogProduct, ShowsFailuresOfTheDll) {
  registry.Local().DeleteValue(L"SKey");
  for (const std::uint32_t debug : {0u, 2u}) {
    ForEachScenario({2, 0, debug, false}, {kPassword, kKuv}, [](const auto&, const Evidence& evidence) {
      EXPECT_EQ(OnlyDecision(evidence), Decided{});
      EXPECT_TRUE(evidence.lastRunFailed);
      ASSERT_FALSE(evidence.errors.empty());
      EXPECT_EQ(evidence.errors.back().text,
                "Filter encountered an exception. 'Filter unable to load Kuv configuration");
    });
  }
}

TEST_F(FilterLogProduct, ShowsThatTheDllFoundNoKuvProvider) {
  ForEachScenario({2, 0, 1, false}, {kPassword}, [](const auto&, const Evidence& evidence) {
    EXPECT_EQ(OnlyDecision(evidence), Decided{});
    EXPECT_FALSE(evidence.lastRunFailed);
    ASSERT_EQ(evidence.errors.size(), 1u);
    EXPECT_EQ(evidence.errors[0].text, "Kuv Credential Provider not found. Filter permitting all.");
  });
}

TEST(FilterLogVersion, IsTheSameInTheDllAndInTheTool) {
  EXPECT_EQ(FilterCheck::ModuleVersion(FilterDllPath()), FilterCheck::ToolVersion());
}

}  // namespace
