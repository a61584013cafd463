// What must hold whatever the settings, the scenario, the session and the failing call: nobody gets around
// the second factor where it is in force, and nobody is locked out where it is not.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <optional>

#include "Anomaly/Faults.h"
#include "Anomaly/LiveFilter.h"
#include "Anomaly/Providers.h"
#include "Anomaly/Size.h"
#include "Support/RegistrySandbox.h"
#include "Support/TempFolder.h"

namespace {

using namespace KuvTest;

// All kinds of provider, and one that no setting names.
constexpr GUID kStrangeProvider = {0x01234567, 0x89AB, 0xCDEF, {1, 2, 3, 4, 5, 6, 7, 8}};
const std::vector<GUID> kProviders = {kPasswordProvider,    kKuvProvider,          kVendorProvider,
                                      kStrangeProvider,     kKuvSmartCardProvider, kSmartCardProvider,
                                      kOldSmartCardProvider};
const std::vector<BOOL> kBefore = {0, 1, 7, -1, 0, 2, 1};

struct Record {
  const char* name;
  bool loadable;
  const wchar_t* host;
  bool hasSecret;
};

constexpr Record kRecords[] = {
    {"complete", true, L"auth.example:8443", true},
    {"without SKey", false, L"auth.example", false},
    {"with port 0", false, L"auth.example:0", true},
    {"empty", false, nullptr, false},
};

enum class SmartCards { Off, On, Wrapped, OnlyWrap };
constexpr SmartCards kSmartCards[] = {SmartCards::Off, SmartCards::On, SmartCards::Wrapped,
                                      SmartCards::OnlyWrap};

// A DWORD setting; absent, or of another type.
struct Number {
  enum Kind { Absent, Text, Stored } kind;
  DWORD value;
};
constexpr Number kModes[] = {{Number::Absent, 0}, {Number::Stored, 0}, {Number::Stored, 1},
                             {Number::Stored, 2}, {Number::Stored, 3}, {Number::Text, 0}};
constexpr Number kRdpOnly[] = {{Number::Absent, 0}, {Number::Stored, 1}, {Number::Stored, 2}};

struct Scenario {
  std::uint32_t cpus;
  DWORD flags;
};
constexpr Scenario kScenarios[] = {{0, 0},     {1, 0}, {2, 0},     {3, 0}, {4, 0},
                                   {4, 0x100}, {5, 0}, {5, 0x100}, {6, 0}, {0xFFFFFFFF, 0x100}};

void Write(const TestKey& key, const wchar_t* name, const Number& number) {
  key.SetDword(name, number.value);
  if (number.kind == Number::Absent) key.DeleteValue(name);
  if (number.kind == Number::Text) key.SetText(name, L"2");
}

bool IsProtected(const Scenario& scenario, const Number& mode, const Number& rdpOnly, bool remote) {
  const DWORD value = mode.kind == Number::Stored && mode.value <= 2 ? mode.value : 0;
  const bool rdp = rdpOnly.kind == Number::Stored && rdpOnly.value == 1;
  if (scenario.cpus >= 1 && scenario.cpus <= 3) return value != 1 && (remote || !rdp);
  return scenario.cpus == 4 && value != 0 && (scenario.flags & 0x100) != 0;
}

bool IsUnprotectedLogon(const Scenario& scenario, const Number& mode) {
  return scenario.cpus >= 1 && scenario.cpus <= 3 && mode.kind == Number::Stored && mode.value == 1;
}

class Invariant : public ::testing::Test {
 protected:
  Invariant() {
    TheMachine() = {};
    TheMachine().appData = appData.Path();
    TheMachine().dropsLog = true;
  }
  ~Invariant() override { TheMachine() = {}; }

  void WriteRecord(const Record& record, SmartCards cards, bool whitelist) {
    const TestKey key = registry.Local();
    key.Create();
    key.Delete();
    key.Create();
    if (record.host != nullptr) key.SetText(L"Host", record.host);
    key.SetText(L"IKey", L"client");
    if (record.hasSecret) key.SetText(L"SKey", L"secret");
    if (whitelist) key.SetTexts(L"ProvidersWhitelist", {kVendorText});
    key.SetDword(L"EnableSmartCards", cards == SmartCards::On || cards == SmartCards::Wrapped ? 1 : 0);
    key.SetDword(L"WrapSmartCards", cards == SmartCards::Wrapped || cards == SmartCards::OnlyWrap ? 1 : 0);
    allowed = {kKuvProvider};
    if (whitelist) allowed.push_back(kVendorProvider);
    if (cards == SmartCards::On) allowed.push_back(kSmartCardProvider);
    if (cards == SmartCards::Wrapped) allowed.push_back(kKuvSmartCardProvider);
  }

  std::vector<BOOL> OnlyAllowed() const {
    std::vector<BOOL> allow;
    for (const GUID& provider : kProviders) {
      allow.push_back(std::find(allowed.begin(), allowed.end(), provider) != allowed.end() ? TRUE : FALSE);
    }
    return allow;
  }

  static std::vector<BOOL> WithoutKuv() {
    std::vector<BOOL> allow;
    for (const GUID& provider : kProviders) {
      allow.push_back(provider == kKuvProvider || provider == kKuvSmartCardProvider ? FALSE : TRUE);
    }
    return allow;
  }

  // Decides with the n-th call failing (0: none), alone or with all later ones.
  std::vector<BOOL> Decide(const LiveFilter& filter, const Scenario& scenario, const Fault& fault) {
    std::vector<BOOL> allow = kBefore;
    imports.TakeAnswers();
    imports.Arm(fault);
    const HRESULT result = filter.Decide(scenario.cpus, scenario.flags, kProviders, allow);
    imports.Disarm();
    ++decisions;
    if (result != S_OK) ADD_FAILURE() << "returned " << result << " at " << DescribeFault();
    return allow;
  }

  // A setting that cannot be read counts as absent, which may turn a protection off, and memory that is out
  // takes ours away. Nothing else that fails changes the flags, and whatever does, they are whole: untouched,
  // the allowed ones alone, or all but ours.
  void ExpectSafe(const std::vector<BOOL>& allow, const std::vector<BOOL>& normally) const {
    const std::string fault = DescribeFault();
    const auto struck = [&](const char* function) { return fault.find(function) != std::string::npos; };
    if (struck("alloc")) {
      EXPECT_EQ(allow, WithoutKuv()) << fault;
      return;
    }
    if (!struck("Reg") && !struck("GetSystemMetrics") && !struck("VerifyVersionInfoW")) {
      EXPECT_EQ(allow, normally) << fault;
      return;
    }
    std::vector<BOOL> withOldCard = OnlyAllowed();
    if (std::find(allowed.begin(), allowed.end(), kSmartCardProvider) != allowed.end()) {
      withOldCard[5] = FALSE;
      withOldCard[6] = TRUE;
    }
    EXPECT_TRUE(allow == kBefore || allow == WithoutKuv() || allow == OnlyAllowed() || allow == withOldCard)
        << fault;
  }

  void Check(const LiveFilter& filter, const Record& record, const Number& mode, const Number& rdpOnly) {
    for (const bool remote : {false, true}) {
      TheMachine().remoteSession = remote ? 1 : 0;
      for (const Scenario& scenario : kScenarios) {
        const bool protectedNow = IsProtected(scenario, mode, rdpOnly, remote);
        const std::vector<BOOL> normally = !record.loadable                     ? WithoutKuv()
                                           : protectedNow                       ? OnlyAllowed()
                                           : IsUnprotectedLogon(scenario, mode) ? kBefore
                                                                                : WithoutKuv();
        EXPECT_EQ(Decide(filter, scenario, {}), normally)
            << "scenario " << scenario.cpus << ", remote " << remote << ", mode " << mode.kind << mode.value;
        CheckUnderFaults(filter, scenario, normally);
      }
    }
  }

  void CheckUnderFaults(const LiveFilter& filter, const Scenario& scenario,
                        const std::vector<BOOL>& normally) {
    for (const Domain domain : {Domain::Platform, Domain::Memory}) {
      const std::size_t calls = imports.CallCount(domain);
      // In a short run each decision has one fault, the next call's turn; in a long run all of them.
      const std::size_t first = IsLong() ? 1 : 1 + turn++ % std::max<std::size_t>(calls, 1);
      for (std::size_t call = first; call <= (IsLong() ? calls : std::min(first, calls)); ++call) {
        for (const bool toTheEnd : {false, true}) {
          if (!IsLong() && toTheEnd != (turn % 2 == 0)) continue;
          ExpectSafe(Decide(filter, scenario, {domain, call, toTheEnd, turn}), normally);
        }
      }
    }
  }

  RegistrySandbox registry;
  TempFolder appData;
  FaultyImports imports;
  std::vector<GUID> allowed;
  std::size_t decisions = 0;
  std::size_t turn = 0;
};

TEST_F(Invariant, HoldsOverAllSettingsScenariosSessionsAndFaults) {
  for (const Record& record : kRecords) {
    for (const SmartCards cards : kSmartCards) {
      for (const bool whitelist : {false, true}) {
        // What an unloadable record says besides is never looked at.
        if (!record.loadable && (cards != SmartCards::On || !whitelist)) continue;
        SCOPED_TRACE(std::string{record.name} + ", smart cards " + std::to_string(static_cast<int>(cards)) +
                     (whitelist ? ", whitelist" : ""));
        WriteRecord(record, cards, whitelist);
        const LiveFilter filter;
        // A record is loaded once, and without a fault, so that all else is compared with what it says.
        Decide(filter, kScenarios[0], {});
        for (const Number& mode : kModes) {
          Write(registry.Policy(), L"ElevationProtectionMode", mode);
          for (const Number& rdpOnly : kRdpOnly) {
            Write(registry.Policy(), L"RdpOnly", rdpOnly);
            Check(filter, record, mode, rdpOnly);
          }
        }
        if (HasFailure()) return;
      }
    }
  }
  std::printf("Tried: %zu decisions\n", decisions);
}

TEST_F(Invariant, ASettingsLoadThatFailsAnywhereLeavesNoWayAround) {
  WriteRecord(kRecords[0], SmartCards::On, true);
  std::size_t calls = 0;
  {
    const LiveFilter filter;
    Decide(filter, {1, 0}, {});
    calls = imports.CallCount(Domain::Platform);
  }
  for (std::size_t call = 1; call <= calls; ++call) {
    const LiveFilter filter;
    const std::vector<BOOL> allow = Decide(filter, {1, 0}, {Domain::Platform, call, false, call});
    // Settings may be missing now, but none is ever added.
    if (allow == WithoutKuv()) continue;
    const std::vector<BOOL> most = OnlyAllowed();
    for (std::size_t i = 0; i < allow.size(); ++i) {
      EXPECT_TRUE(allow[i] == FALSE || most[i] == TRUE || kProviders[i] == kOldSmartCardProvider)
          << i << " at " << DescribeFault();
    }
  }
  std::printf("Tried: %zu loads\n", calls);
}

TEST_F(Invariant, OnlyWrongArgumentsAreRefused) {
  WriteRecord(kRecords[0], SmartCards::On, true);
  const LiveFilter filter;
  std::vector<BOOL> allow;
  for (const Scenario& scenario : kScenarios) {
    EXPECT_EQ(filter.Decide(scenario.cpus, scenario.flags, {}, allow), E_INVALIDARG);
  }
}

}  // namespace
