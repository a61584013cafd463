// What must hold for all settings, scenarios, sessions and failing calls: no one bypasses the second factor
// where it is required, and no one is locked out where it is not.
#include <algorithm>
#include <cstdio>
#include <optional>
#include <random>
#include <utility>

#include <gtest/gtest.h>

#include "Anomaly/Faults.h"
#include "Anomaly/Size.h"
#include "Support/DecisionModel.h"
#include "Support/FilterModule.h"
#include "Support/Providers.h"
#include "Support/RegistrySandbox.h"
#include "Support/TempFolder.h"

namespace {

using namespace KuvTest;

// All kinds of provider, and one that no setting names.
constexpr GUID kUnlistedProvider = {0x01234567, 0x89AB, 0xCDEF, {1, 2, 3, 4, 5, 6, 7, 8}};
const std::vector<GUID> kProviders = {kPasswordProvider,   kKuvProvider,          kVendorProvider,
                                      kUnlistedProvider,   kKuvSmartCardProvider, kSmartCardProvider,
                                      kV1SmartCardProvider};
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

enum class Session { Local, Remote, RemoteByNumber };

// Everything that a decision depends on besides the allowed list.
struct Situation {
  bool loadable;
  Scenario scenario;
  Number mode;
  Number rdpOnly;
  Session session;
};

// The facts that a failing call may hide from a decision.
struct Losses {
  bool mode = false;
  bool rdpOnly = false;
  bool session = false;

  int Count() const { return (mode ? 1 : 0) + (rdpOnly ? 1 : 0) + (session ? 1 : 0); }
};

// A lost setting counts as absent: only logon is protected, in every session, and the session is local.
Outcome OutcomeOf(const Situation& situation, const Losses& lost) {
  DecisionFacts facts{
      .loadable = situation.loadable, .scenario = situation.scenario.cpus, .flags = situation.scenario.flags};
  if (!lost.mode && situation.mode.kind == Number::Stored) facts.mode = situation.mode.value;
  facts.rdpOnly = !lost.rdpOnly && situation.rdpOnly.kind == Number::Stored && situation.rdpOnly.value == 1;
  facts.remote = !lost.session && situation.session != Session::Local;
  return RuleFor(facts).outcome;
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
    if (whitelist) key.SetTexts(L"ProvidersWhitelist", {Wide(kVendor)});
    const bool enable = cards == SmartCards::On || cards == SmartCards::Wrapped;
    const bool wrap = cards == SmartCards::Wrapped || cards == SmartCards::OnlyWrap;
    key.SetDword(L"EnableSmartCards", enable ? 1 : 0);
    key.SetDword(L"WrapSmartCards", wrap ? 1 : 0);
    for (const bool newSystem : {false, true}) {
      allowed[newSystem] = ExpectedAllowed(
          whitelist ? std::vector<GUID>{kVendorProvider} : std::vector<GUID>{}, enable, wrap, newSystem);
    }
  }

  std::vector<BOOL> Flags(Outcome outcome, bool newSystem = true) const {
    return ExpectedFlags(outcome, kProviders, allowed[newSystem], kBefore);
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

  // A setting that cannot be read counts as absent, an unknown session as local, an unknown version as old;
  // exhausted memory disables the Kuv providers. No other failure changes the flags.
  void ExpectSafe(const std::vector<BOOL>& allow, const Situation& situation, const Fault& fault) const {
    const std::string text = DescribeFault();
    const auto struck = [&](const char* function) { return text.find(function) != std::string::npos; };
    EXPECT_TRUE(imports.HasStruck()) << text;
    if (fault.domain == Domain::Memory) {
      EXPECT_EQ(allow, Flags(Outcome::WithoutKuv)) << text;
      return;
    }
    const bool noSetting = struck("RegOpenKeyExA") || struck("RegQueryValueExA");
    const bool noSession =
        situation.session == Session::Remote
            ? struck("GetSystemMetrics")
            : struck("RegOpenKeyExW") || struck("RegQueryValueExW") || struck("ProcessIdToSessionId");
    std::vector<std::vector<BOOL>> possible;
    for (const bool mode : {false, true}) {
      for (const bool rdpOnly : {false, true}) {
        for (const bool session : {false, true}) {
          const Losses lost{mode, rdpOnly, session};
          if (((mode || rdpOnly) && !noSetting) || (session && !noSession)) continue;
          // One failing call hides one fact.
          if (!fault.toTheEnd && lost.Count() > 1) continue;
          possible.push_back(Flags(OutcomeOf(situation, lost), !struck("VerifyVersionInfoW")));
        }
      }
    }
    EXPECT_TRUE(std::find(possible.begin(), possible.end(), allow) != possible.end())
        << text << ", " << Describe(situation) << ": " << testing::PrintToString(allow);
  }

  static std::string Describe(const Situation& situation) {
    const auto number = [](const Number& value) {
      return value.kind == Number::Stored ? std::to_string(value.value)
             : value.kind == Number::Text ? "text"
                                          : "no";
    };
    return "scenario " + std::to_string(situation.scenario.cpus) + ", flags " +
           std::to_string(situation.scenario.flags) + ", session " +
           std::to_string(static_cast<int>(situation.session)) + ", mode " + number(situation.mode) +
           ", RdpOnly " + number(situation.rdpOnly);
  }

  void Check(const LiveFilter& filter, bool loadable, const Number& mode, const Number& rdpOnly) {
    DWORD own = 0;
    ::ProcessIdToSessionId(::GetCurrentProcessId(), &own);
    for (const Session session : {Session::Local, Session::Remote, Session::RemoteByNumber}) {
      TheMachine().remoteSession = session == Session::Remote ? 1 : 0;
      TestKey{HKEY_LOCAL_MACHINE, Wide(kTerminalServerKey)}.SetDword(
          L"GlassSessionId", session == Session::RemoteByNumber ? own + 1 : own);
      for (const Scenario& scenario : kScenarios) {
        const Situation situation{loadable, scenario, mode, rdpOnly, session};
        EXPECT_EQ(Decide(filter, scenario, {}), Flags(OutcomeOf(situation, {}))) << Describe(situation);
        CheckUnderFaults(filter, situation);
      }
    }
  }

  void CheckUnderFaults(const LiveFilter& filter, const Situation& situation) {
    const std::size_t platformCalls = imports.CallCount(Domain::Platform);
    const std::size_t allocations = imports.CallCount(Domain::Memory);
    const auto check = [&](const Fault& fault) {
      ExpectSafe(Decide(filter, situation.scenario, fault), situation, fault);
    };
    for (const Domain domain : {Domain::Platform, Domain::Memory}) {
      const std::size_t calls = domain == Domain::Platform ? platformCalls : allocations;
      ASSERT_GT(calls, 0u);
      if (!IsLong()) {
        // One fault per decision, chosen independently of the decision.
        const std::size_t call = 1 + random() % calls;
        const bool toTheEnd = random() % 2 == 0;
        check({domain, call, toTheEnd, random() % 4});
        continue;
      }
      for (std::size_t call = 1; call <= calls; ++call) {
        check({domain, call, false, random() % 4});
        check({domain, call, true, random() % 4});
      }
    }
  }

  RegistrySandbox registry;
  TempFolder appData;
  FaultyImports imports;
  std::vector<GUID> allowed[2];  // on an old system and on a new one
  std::size_t decisions = 0;
  std::mt19937 random;
};

TEST_F(Invariant, HoldsForAllSettingsScenariosSessionsAndFaults) {
  for (const Record& record : kRecords) {
    for (const SmartCards cards : kSmartCards) {
      for (const bool whitelist : {false, true}) {
        // The other settings of an incomplete record are never read.
        if (!record.loadable && (cards != SmartCards::On || !whitelist)) continue;
        SCOPED_TRACE(std::string{record.name} + ", smart cards " + std::to_string(static_cast<int>(cards)) +
                     (whitelist ? ", whitelist" : ""));
        WriteRecord(record, cards, whitelist);
        const LiveFilter filter;
        // The record is loaded once and without a fault: everything else is compared with its settings.
        Decide(filter, kScenarios[0], {});
        for (const Number& mode : kModes) {
          Write(registry.Policy(), L"ElevationProtectionMode", mode);
          for (const Number& rdpOnly : kRdpOnly) {
            Write(registry.Policy(), L"RdpOnly", rdpOnly);
            Check(filter, record.loadable, mode, rdpOnly);
          }
        }
        if (HasFailure()) return;
      }
    }
  }
  std::printf("Tried: %zu decisions\n", decisions);
}

TEST_F(Invariant, FailingSettingsLoadOpensNoBypass) {
  WriteRecord(kRecords[0], SmartCards::On, true);
  std::size_t calls = 0;
  std::size_t loaded = 0;
  {
    const LiveFilter filter;
    EXPECT_EQ(Decide(filter, {1, 0}, {}), Flags(Outcome::OnlyAllowed));
    calls = imports.CallCount(Domain::Platform);
  }
  for (std::size_t call = 1; call <= calls; ++call) {
    const LiveFilter filter;
    const std::vector<BOOL> allow = Decide(filter, {1, 0}, {Domain::Platform, call, false, call});
    // A setting may be lost, but none is added.
    EXPECT_TRUE(imports.HasStruck());
    if (allow == Flags(Outcome::WithoutKuv)) continue;
    ++loaded;
    const std::vector<BOOL> most = Flags(Outcome::OnlyAllowed);
    for (std::size_t i = 0; i < allow.size(); ++i) {
      EXPECT_TRUE(allow[i] == FALSE || most[i] == TRUE || kProviders[i] == kV1SmartCardProvider)
          << i << " at " << DescribeFault();
    }
  }
  // Most settings may be lost.
  EXPECT_GT(loaded, calls / 2);
  EXPECT_LT(loaded, calls);
  std::printf("Tried: %zu loads\n", calls);
}

TEST_F(Invariant, RejectsOnlyInvalidArguments) {
  WriteRecord(kRecords[0], SmartCards::On, true);
  const LiveFilter filter;
  std::vector<BOOL> allow;
  for (const Scenario& scenario : kScenarios) {
    EXPECT_EQ(filter.Decide(scenario.cpus, scenario.flags, {}, allow), E_INVALIDARG);
  }
}

}  // namespace
