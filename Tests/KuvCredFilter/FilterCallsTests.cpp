#include <string>

#include "KuvAuth/Support/Text.h"
#include "KuvCredFilter/FilterFixture.h"

namespace {

using namespace KuvTest;

// Records the keys that a decision opens, in order, by either form of the call, and checks that each opened
// key is closed.
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

TEST_F(FilterCalls, LogonReadsModeThenSessionThenRdpOnly) {
  Configure();
  for (const DWORD scenario : {1u, 2u, 3u}) {
    EXPECT_EQ(KeysOpenedBy({.scenario = scenario}),
              (Names{kPolicyKey, kLocalKey, kTerminalServerKey, kPolicyKey, kLocalKey}));
  }
  EXPECT_EQ(metrics.CallCount(), 3u);
}

TEST_F(FilterCalls, PolicyValueEndsTheSearch) {
  Configure();
  registry.Policy().SetDword(L"ElevationProtectionMode", 2);
  registry.Policy().SetDword(L"RdpOnly", 0);
  EXPECT_EQ(KeysOpenedBy({}), (Names{kPolicyKey, kTerminalServerKey, kPolicyKey}));
}

TEST_F(FilterCalls, RemoteLogonReadsRdpOnlyToo) {
  Configure();
  SetRemote(true);
  EXPECT_EQ(KeysOpenedBy({}), (Names{kPolicyKey, kLocalKey, kPolicyKey, kLocalKey}));
  EXPECT_EQ(metrics.CallCount(), 1u);
}

TEST_F(FilterCalls, UnprotectedLogonReadsTheSessionOnceAndNotRdpOnly) {
  Configure();
  registry.Policy().SetDword(L"ElevationProtectionMode", 1);
  EXPECT_EQ(KeysOpenedBy({}), (Names{kPolicyKey, kTerminalServerKey}));
  EXPECT_EQ(metrics.CallCount(), 1u);
}

TEST_F(FilterCalls, ElevationReadsTheModeOnly) {
  Configure();
  for (const DWORD mode : {0u, 1u, 2u}) {
    for (const DWORD flags : {0u, 0x100u}) {
      registry.Local().SetDword(L"ElevationProtectionMode", mode);
      EXPECT_EQ(KeysOpenedBy({.scenario = CPUS_CREDUI, .flags = flags}), (Names{kPolicyKey, kLocalKey}));
    }
  }
  EXPECT_EQ(metrics.CallCount(), 0u);
}

TEST_F(FilterCalls, OtherScenariosReadTheModeToo) {
  Configure();
  for (const DWORD scenario : {0u, 5u, 6u, 0xFFFFFFFFu}) {
    EXPECT_EQ(KeysOpenedBy({.scenario = scenario}), (Names{kPolicyKey, kLocalKey}));
  }
  EXPECT_EQ(metrics.CallCount(), 0u);
}

TEST_F(FilterCalls, ReadsNothingWithoutKuvProvider) {
  for (const DWORD scenario : {0u, 1u, 2u, 3u, 4u, 5u, 6u}) {
    EXPECT_EQ(KeysOpenedBy({.scenario = scenario, .providers = {kPassword, kVendor}}), Names{});
  }
  EXPECT_EQ(metrics.CallCount(), 0u);
  EXPECT_FALSE(GetConfiguration()->IsConfigured());
}

TEST_F(FilterCalls, IncompleteRecordIsLoadedAtEachDecisionAndNothingElseIsRead) {
  // Each key is opened for its settings and, within that, for the level of the log.
  for (int i = 0; i < 2; ++i)
    EXPECT_EQ(KeysOpenedBy({}), (Names{kLocalKey, kLocalKey, kPolicyKey, kPolicyKey}));
  EXPECT_EQ(metrics.CallCount(), 0u);
}

TEST_F(FilterCalls, CompleteRecordIsLoadedOnce) {
  registry.Local().SetText(L"Host", L"host.example");
  registry.Local().SetText(L"IKey", L"ikey");
  registry.Local().SetText(L"SKey", L"skey");
  EXPECT_EQ(KeysOpenedBy({.scenario = CPUS_PLAP}),
            (Names{kLocalKey, kLocalKey, kPolicyKey, kPolicyKey, kPolicyKey, kLocalKey}));
  EXPECT_EQ(KeysOpenedBy({.scenario = CPUS_PLAP}), (Names{kPolicyKey, kLocalKey}));
}

TEST_F(FilterCalls, ReadsTheSettingsByName) {
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

TEST_F(FilterCalls, LogsTheScenarioBeforeItReadsTheModeAndTheSessionBeforeItReadsRdpOnly) {
  Configure();
  const std::string scenario = "Filter usage scenario 1/CPUS_LOGON, flags=0x00000000";
  for (const bool remote : {false, true}) {
    SetRemote(remote);
    Names lines;  // before each query
    log.Clear();
    registry.Local().SetDword(L"RdpOnly", 0);
    registry.Local().SetDword(L"ElevationProtectionMode", 0);
    KUV_IMPORT_HOOK(open, RegOpenKeyExA);
    open.Answer([&](HKEY root, const char* path, DWORD options, REGSAM access, HKEY* key) {
      lines.push_back(log.Lines().back().text);
      return open.Original(root, path, options, access, key);
    });
    Filter({});
    const std::string session = remote ? "Remote login session (RDP)" : "Local login session";
    EXPECT_EQ(lines, (Names{scenario, scenario, session, session}));
  }
}

TEST_F(FilterCalls, ReadsTheSessionBeforeItsLine) {
  Configure();
  Names lines;
  metrics.Answer([&](int) {
    lines.push_back(log.Lines().back().text);
    return 1;
  });
  Filter({});
  EXPECT_EQ(lines, (Names{"Filter usage scenario 1/CPUS_LOGON, flags=0x00000000"}));
}

TEST_F(FilterCalls, FailedDecisionClosesItsKeys) {
  Configure();
  metrics.Answer([](int) -> int { throw std::runtime_error{"example"}; });
  EXPECT_EQ(KeysOpenedBy({}), (Names{kPolicyKey, kLocalKey}));
}

}  // namespace
