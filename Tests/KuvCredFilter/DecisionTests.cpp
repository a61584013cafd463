// The decision on facts of the test: the outcome, the fact that determines it, and the facts that it uses.
#include "KuvCredFilter/Decision.h"

#include <new>
#include <ostream>

#include <gtest/gtest.h>

#include "Support/Providers.h"

namespace Kuv {

void PrintTo(const Decision& decision, std::ostream* out) {
  *out << "outcome " << static_cast<int>(decision.outcome) << " decided by "
       << static_cast<int>(decision.decidedBy);
}

bool operator==(const Decision& left, const Decision& right) {
  return left.outcome == right.outcome && left.decidedBy == right.decidedBy;
}

}  // namespace Kuv

namespace {

using namespace KuvTest;
using Kuv::DecidedBy;
using Kuv::Decision;
using Kuv::Outcome;
using enum ElevationProtectionMode;

struct Facts {
  ElevationProtectionMode mode = LogonOnly;
  bool remote = false;
  bool rdpOnly = false;
};

// The values of the facts below, and the facts that were used.
Facts answers;
Names asked;

template <typename Answer>
Answer Asked(const char* fact, Answer answer) {
  asked.push_back(fact);
  return answer;
}

constexpr Kuv::DecisionFacts kFacts{[] {
                                      return Asked("list", AllowedProviderList{Guid(kKuv), Guid(kVendor)});
                                    },
                                    [] { return Asked("mode", answers.mode); },
                                    [] { return Asked("session", answers.remote); },
                                    [] { return Asked("RdpOnly", answers.rdpOnly); }};

struct Row {
  const char* name;
  std::uint32_t scenario;
  DWORD flags;
  Facts facts;
  Decision decision;
  Names asked;
};

const Names kMode = {"mode"};
const Names kAll = {"mode", "session", "RdpOnly"};
constexpr DWORD kOthers = ~DWORD{0x100};
constexpr Decision kSupported{Outcome::Supported, DecidedBy::ElevationProtectionMode};
constexpr Decision kUnsupported{Outcome::Unsupported, DecidedBy::ElevationProtectionMode};
constexpr Decision kUntouched{Outcome::Untouched, DecidedBy::ElevationProtectionMode};
constexpr Decision kByRdpOnly{Outcome::Unsupported, DecidedBy::RdpOnly};
constexpr Decision kByScenario{Outcome::Unsupported, DecidedBy::UsageScenario};

const Row kRows[] = {
    {"logon, local", 1, 0, {LogonOnly, false, false}, kSupported, kAll},
    {"logon, local, RdpOnly", 1, 0, {LogonOnly, false, true}, kByRdpOnly, kAll},
    {"logon, remote", 1, 0, {LogonOnly, true, false}, kSupported, kAll},
    {"logon, remote, RdpOnly", 1, 0, {LogonOnly, true, true}, kSupported, kAll},
    {"logon, elevation too", 1, 0, {LogonAndElevation, false, false}, kSupported, kAll},
    {"logon, elevation too, RdpOnly", 1, 0, {LogonAndElevation, false, true}, kByRdpOnly, kAll},
    {"logon, elevation only", 1, 0, {ElevationOnly, false, false}, kUntouched, kMode},
    {"logon, elevation only, RdpOnly", 1, 0, {ElevationOnly, false, true}, kUntouched, kMode},
    {"logon, the flag of elevation", 1, 0x100, {LogonOnly, false, false}, kSupported, kAll},
    {"unlock, local", 2, 0, {LogonOnly, false, false}, kSupported, kAll},
    {"unlock, local, RdpOnly", 2, 0, {LogonAndElevation, false, true}, kByRdpOnly, kAll},
    {"unlock, elevation only", 2, 0, {ElevationOnly, true, false}, kUntouched, kMode},
    {"change of password, remote", 3, 0, {LogonOnly, true, true}, kSupported, kAll},
    {"change of password, local, RdpOnly", 3, 0, {LogonOnly, false, true}, kByRdpOnly, kAll},
    {"change of password, elevation only", 3, 0, {ElevationOnly, false, true}, kUntouched, kMode},
    {"elevation, elevation only", 4, 0x100, {ElevationOnly, false, true}, kSupported, kMode},
    {"elevation, logon too", 4, 0x100, {LogonAndElevation, false, true}, kSupported, kMode},
    {"elevation, every flag", 4, 0xFFFFFFFF, {LogonAndElevation, true, true}, kSupported, kMode},
    {"elevation, logon only", 4, 0x100, {LogonOnly, false, false}, kUnsupported, kMode},
    {"credential UI, elevation only", 4, 0, {ElevationOnly, false, false}, kByScenario, kMode},
    {"credential UI, logon too", 4, kOthers, {LogonAndElevation, true, false}, kByScenario, kMode},
    {"credential UI, logon only", 4, kOthers, {LogonOnly, false, false}, kByScenario, kMode},
    {"invalid", 0, 0x100, {LogonAndElevation, true, false}, kByScenario, kMode},
    {"PLAP", 5, 0x100, {LogonAndElevation, true, false}, kByScenario, kMode},
    {"unknown", 6, 0x100, {LogonAndElevation, true, false}, kByScenario, kMode},
    {"largest", 0xFFFFFFFF, 0x100, {ElevationOnly, true, false}, kByScenario, kMode},
};

TEST(Decision, ReturnsTheDecidingFactAndUsesNoOther) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name);
    answers = row.facts;
    asked.clear();
    EXPECT_EQ(Kuv::DecideScenario(row.scenario, row.flags, kFacts), row.decision);
    EXPECT_EQ(asked, row.asked);
  }
}

struct Filtered {
  Decision decision;
  std::vector<BOOL> allow;
};

Filtered Filter(const Names& names, const Kuv::DecisionFacts& facts, std::uint32_t scenario = 1) {
  const std::vector<GUID> providers = Guids(names);
  Filtered filtered{{}, std::vector<BOOL>(providers.size(), 7)};
  asked.clear();
  filtered.decision = Kuv::FilterProviders(scenario, 0, {providers.data(), providers.size()},
                                           {filtered.allow.data(), providers.size()}, facts);
  return filtered;
}

using Flags = std::vector<BOOL>;

TEST(Decision, WritesTheFlagsOfItsOutcome) {
  answers = {};
  const Filtered supported = Filter({kPassword, kKuv, kVendor}, kFacts);
  EXPECT_EQ(supported.decision, kSupported);
  EXPECT_EQ(supported.allow, (Flags{0, 1, 1}));
  EXPECT_EQ(asked, (Names{"list", "mode", "session", "RdpOnly"}));

  const Filtered unsupported = Filter({kPassword, kKuv, kVendor}, kFacts, 5);
  EXPECT_EQ(unsupported.decision, kByScenario);
  EXPECT_EQ(unsupported.allow, (Flags{1, 0, 1}));

  answers.mode = ElevationOnly;
  const Filtered untouched = Filter({kPassword, kKuv, kVendor}, kFacts);
  EXPECT_EQ(untouched.decision, kUntouched);
  EXPECT_EQ(untouched.allow, (Flags{7, 7, 7}));
}

TEST(Decision, UsesNoFactWithoutAKuvProvider) {
  answers = {};
  for (const Names& providers : {Names{}, Names{kPassword, kAlmostKuv}}) {
    const Filtered filtered = Filter(providers, kFacts);
    EXPECT_EQ(filtered.decision, (Decision{Outcome::Untouched, DecidedBy::KuvProvider}));
    EXPECT_EQ(filtered.allow, Flags(providers.size(), 7));
    EXPECT_EQ(asked, Names{});
  }
  EXPECT_EQ(Filter({kPassword, kKuvSmartCard}, kFacts).decision, kSupported);
}

// The number of the fact that fails.
std::size_t failing = 0;

template <std::size_t Index, auto Fact>
auto MayFail() {
  if (failing == Index) throw std::bad_alloc{};
  return Fact();
}

TEST(Decision, FailsIfAFactThrows) {
  constexpr Kuv::DecisionFacts kFailing{MayFail<0, kFacts.allowedProviders>,
                                        MayFail<1, kFacts.elevationProtectionMode>,
                                        MayFail<2, kFacts.isRemoteSession>, MayFail<3, kFacts.isRdpOnly>};
  answers = {};
  for (failing = 0; failing < 4; ++failing) {
    SCOPED_TRACE(failing);
    const Filtered filtered = Filter({kVendor, kKuvSmartCard, kKuv}, kFailing);
    EXPECT_EQ(filtered.decision, (Decision{Outcome::Unsupported, DecidedBy::Failure}));
    EXPECT_EQ(filtered.allow, (Flags{1, 0, 0}));
    EXPECT_EQ(asked.size(), failing);
  }
  EXPECT_EQ(Filter({kKuv}, kFailing).decision, kSupported);
}

}  // namespace
