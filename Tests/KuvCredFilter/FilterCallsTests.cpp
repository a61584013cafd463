#include <string>

#include "KuvAuth/Support/Text.h"
#include "KuvCredFilter/FilterFixture.h"

namespace {

using namespace KuvTest;

const std::string kLocal = "Software\\Kuvant\\KuvCredProv";
const std::string kPolicy = "Software\\Policies\\Kuvant\\KuvCredProv";
const std::string kTerminalServer = "SYSTEM\\CurrentControlSet\\Control\\Terminal Server\\";

// Records the keys that a decision opens, in order, whichever form of the call it uses, and that each
// one that opened is closed.
class FilterCalls : public FilterFixture {
 protected:
  FilterCalls() {
    registry.Local().Create();
    registry.Policy().Create();
  }

  Names KeysOpenedBy(const FilterCall& call) {
    Names opened;
    std::size_t succeeded = 0;
    const auto count = [&](LSTATUS status) {
      succeeded += status == ERROR_SUCCESS ? 1u : 0u;
      return status;
    };
    KUV_IMPORT_HOOK(openA, RegOpenKeyExA);
    KUV_IMPORT_HOOK(openW, RegOpenKeyExW);
    KUV_IMPORT_HOOK(close, RegCloseKey);
    openA.Answer([&](HKEY root, const char* path, DWORD options, REGSAM access, HKEY* key) {
      EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
      EXPECT_EQ(options, 0u);
      EXPECT_EQ(access, 0x0001u);
      opened.push_back(path);
      return count(openA.Original(root, path, options, access, key));
    });
    openW.Answer([&](HKEY root, const wchar_t* path, DWORD options, REGSAM access, HKEY* key) {
      EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
      opened.push_back(WideToUtf8(path));
      return count(openW.Original(root, path, options, access, key));
    });
    Filter(call);
    EXPECT_EQ(close.CallCount(), succeeded);
    return opened;
  }
};

TEST_F(FilterCalls, ALogonAsksForTheModeThenTheSessionThenRdpOnly) {
  Configure();
  for (const DWORD scenario : {1u, 2u, 3u}) {
    EXPECT_EQ(KeysOpenedBy({.scenario = scenario}),
              (Names{kPolicy, kLocal, kTerminalServer, kPolicy, kLocal}));
  }
  EXPECT_EQ(metrics.CallCount(), 3u);
}

TEST_F(FilterCalls, APolicyValueEndsTheSearch) {
  Configure();
  registry.Policy().SetDword(L"ElevationProtectionMode", 2);
  registry.Policy().SetDword(L"RdpOnly", 0);
  EXPECT_EQ(KeysOpenedBy({}), (Names{kPolicy, kTerminalServer, kPolicy}));
}

TEST_F(FilterCalls, ARemoteLogonAsksForRdpOnlyAllTheSame) {
  Configure();
  SetRemote(true);
  EXPECT_EQ(KeysOpenedBy({}), (Names{kPolicy, kLocal, kPolicy, kLocal}));
  EXPECT_EQ(metrics.CallCount(), 1u);
}

TEST_F(FilterCalls, AnUnprotectedLogonAsksForTheSessionOnceAndNotForRdpOnly) {
  Configure();
  registry.Policy().SetDword(L"ElevationProtectionMode", 1);
  EXPECT_EQ(KeysOpenedBy({}), (Names{kPolicy, kTerminalServer}));
  EXPECT_EQ(metrics.CallCount(), 1u);
}

TEST_F(FilterCalls, ElevationAsksForTheModeOnly) {
  Configure();
  for (const DWORD mode : {0u, 1u, 2u}) {
    for (const DWORD flags : {0u, 0x100u}) {
      registry.Local().SetDword(L"ElevationProtectionMode", mode);
      EXPECT_EQ(KeysOpenedBy({.scenario = CPUS_CREDUI, .flags = flags}), (Names{kPolicy, kLocal}));
    }
  }
  EXPECT_EQ(metrics.CallCount(), 0u);
}

TEST_F(FilterCalls, EveryOtherScenarioAsksForTheModeAllTheSame) {
  Configure();
  for (const DWORD scenario : {0u, 5u, 6u, 0xFFFFFFFFu}) {
    EXPECT_EQ(KeysOpenedBy({.scenario = scenario}), (Names{kPolicy, kLocal}));
  }
  EXPECT_EQ(metrics.CallCount(), 0u);
}

TEST_F(FilterCalls, WithoutAKuvProviderNothingIsAsked) {
  for (const DWORD scenario : {0u, 1u, 2u, 3u, 4u, 5u, 6u}) {
    EXPECT_EQ(KeysOpenedBy({.scenario = scenario, .providers = {kPassword, kVendor}}), Names{});
  }
  EXPECT_EQ(metrics.CallCount(), 0u);
  EXPECT_FALSE(GetConfiguration()->IsConfigured());
}

TEST_F(FilterCalls, AnIncompleteRecordIsLoadedAtEachDecisionAndNothingElseIsAsked) {
  // Each key is opened for its settings and, within that, for the level of the log.
  for (int i = 0; i < 2; ++i) EXPECT_EQ(KeysOpenedBy({}), (Names{kLocal, kLocal, kPolicy, kPolicy}));
  EXPECT_EQ(metrics.CallCount(), 0u);
}

TEST_F(FilterCalls, ACompleteRecordIsLoadedOnce) {
  registry.Local().SetText(L"Host", L"host.example");
  registry.Local().SetText(L"IKey", L"ikey");
  registry.Local().SetText(L"SKey", L"skey");
  EXPECT_EQ(KeysOpenedBy({.scenario = CPUS_PLAP}),
            (Names{kLocal, kLocal, kPolicy, kPolicy, kPolicy, kLocal}));
  EXPECT_EQ(KeysOpenedBy({.scenario = CPUS_PLAP}), (Names{kPolicy, kLocal}));
}

TEST_F(FilterCalls, ADecisionReadsTheSettingsByName) {
  Configure();
  registry.Local().SetDword(L"ElevationProtectionMode", 2);
  Names names;
  KUV_IMPORT_HOOK(query, RegQueryValueExA);
  query.Answer([&](HKEY key, const char* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
    names.push_back(name);
    return query.Original(key, name, reserved, type, data, size);
  });
  Filter({});
  EXPECT_EQ(names, (Names{"ElevationProtectionMode", "ElevationProtectionMode", "RdpOnly", "RdpOnly"}));
}

TEST_F(FilterCalls, AFailedDecisionStillReleasesWhatItOpened) {
  Configure();
  metrics.Answer([](int) -> int { throw std::runtime_error{"made up"}; });
  EXPECT_EQ(KeysOpenedBy({}), (Names{kPolicy, kLocal}));
}

}  // namespace
