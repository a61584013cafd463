#include "KuvCredFilter/UsageScenario.h"

#include <gtest/gtest.h>

#include "Support/ImportHook.h"
#include "Support/RegistrySandbox.h"

namespace {

using KuvTest::RegistrySandbox;

TEST(UsageScenarioName, IsThePlatformsName) {
  EXPECT_STREQ(UsageScenarioName(0), "CPUS_INVALID");
  EXPECT_STREQ(UsageScenarioName(1), "CPUS_LOGON");
  EXPECT_STREQ(UsageScenarioName(2), "CPUS_UNLOCK_WORKSTATION");
  EXPECT_STREQ(UsageScenarioName(3), "CPUS_CHANGE_PASSWORD");
  EXPECT_STREQ(UsageScenarioName(4), "CPUS_CREDUI");
  EXPECT_STREQ(UsageScenarioName(5), "CPUS_PLAP");
}

TEST(UsageScenarioName, IsUnknownForOtherValues) {
  for (const std::uint32_t scenario : {6u, 7u, 0x100u, 0x80000001u, 0xFFFFFFFFu}) {
    EXPECT_STREQ(UsageScenarioName(scenario), "<unknown>") << scenario;
  }
}

TEST(LogonType, FollowsTheSessionForLogonScenarios) {
  const RegistrySandbox registry;
  KUV_IMPORT_HOOK(metrics, GetSystemMetrics);
  for (const std::uint32_t scenario : {1u, 2u, 3u}) {
    metrics.Answer([](int) { return 0; });
    EXPECT_EQ(LogonTypeFromScenario(scenario).value, 1) << scenario;
    metrics.Answer([](int) { return 1; });
    EXPECT_EQ(LogonTypeFromScenario(scenario).value, 2) << scenario;
  }
}

TEST(LogonType, NeedsNoSessionForOtherScenarios) {
  KUV_IMPORT_HOOK(metrics, GetSystemMetrics);
  metrics.Answer([](int) { return 1; });
  EXPECT_EQ(LogonTypeFromScenario(0).value, -1);
  EXPECT_EQ(LogonTypeFromScenario(4).value, 3);
  EXPECT_EQ(LogonTypeFromScenario(5).value, -1);
  for (const std::uint32_t scenario : {6u, 7u, 0x80000001u, 0xFFFFFFFFu}) {
    EXPECT_EQ(LogonTypeFromScenario(scenario).value, 0) << scenario;
  }
  EXPECT_EQ(metrics.CallCount(), 0u);
}

TEST(LogonTypeName, IsTheDocumentedText) {
  EXPECT_STREQ(LogonTypeName({0}), "unknown");
  EXPECT_STREQ(LogonTypeName({1}), "Local");
  EXPECT_STREQ(LogonTypeName({2}), "RDP");
  EXPECT_STREQ(LogonTypeName({3}), "Elevation");
}

TEST(LogonTypeName, IsInvalidForOtherValues) {
  for (const std::int32_t value : {-1, 4, 5, -2147483647 - 1, 2147483647}) {
    EXPECT_STREQ(LogonTypeName({value}), "invalid") << value;
  }
}

TEST(LogonType, HoldsOneSigned32BitField) {
  static_assert(sizeof(LogonType) == 4 && std::is_same_v<decltype(LogonType::value), std::int32_t>);
  EXPECT_STREQ(LogonTypeName(LogonTypeFromScenario(6)), "unknown");
  EXPECT_STREQ(LogonTypeName(LogonTypeFromScenario(5)), "invalid");
}

}  // namespace
