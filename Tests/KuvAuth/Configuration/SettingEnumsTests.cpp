#include "KuvAuth/Configuration/SettingEnums.h"

#include <type_traits>

#include <gtest/gtest.h>

#include "Support/LogCapture.h"

namespace {

using KuvTest::LogCapture;
using KuvTest::LogLines;

static_assert(sizeof(UsernameFormat) == 4 && sizeof(ElevationProtectionMode) == 4);
static_assert(static_cast<int>(UsernameFormat::SAM) == 0);
static_assert(static_cast<int>(UsernameFormat::NTLM) == 1);
static_assert(static_cast<int>(UsernameFormat::UPN) == 2);
static_assert(static_cast<int>(ElevationProtectionMode::LogonOnly) == 0);
static_assert(static_cast<int>(ElevationProtectionMode::ElevationOnly) == 1);
static_assert(static_cast<int>(ElevationProtectionMode::LogonAndElevation) == 2);

const LogLines kWarning{{LogLevel::Warning, "Unrecognized Kuv username format; defaulting to NTLM"}};

TEST(UsernameFormatName, NamesEachFormat) {
  EXPECT_EQ(UsernameFormatName(UsernameFormat::SAM), "SAM");
  EXPECT_EQ(UsernameFormatName(UsernameFormat::NTLM), "NTLM");
  EXPECT_EQ(UsernameFormatName(UsernameFormat::UPN), "UPN");
}

TEST(UsernameFormatName, IsUnknownForEveryOtherNumber) {
  for (const std::uint32_t value : {3u, 4u, 0x80000000u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(value);
    EXPECT_EQ(UsernameFormatName(static_cast<UsernameFormat>(value)), "Unknown");
  }
}

TEST(UsernameFormatFromValue, ConvertsThreeNumbers) {
  const LogCapture log;
  EXPECT_EQ(UsernameFormatFromValue(0), UsernameFormat::SAM);
  EXPECT_EQ(UsernameFormatFromValue(1), UsernameFormat::NTLM);
  EXPECT_EQ(UsernameFormatFromValue(2), UsernameFormat::UPN);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST(UsernameFormatFromValue, ReturnsNtlmWithAWarningForAnyOtherNumber) {
  for (const std::uint32_t value : {3u, 4u, 0x80000000u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(value);
    const LogCapture log;
    EXPECT_EQ(UsernameFormatFromValue(value), UsernameFormat::NTLM);
    EXPECT_EQ(log.Lines(), kWarning);
  }
}

TEST(UsernameFormatFromName, ConvertsThreeNames) {
  const LogCapture log;
  EXPECT_EQ(UsernameFormatFromName("SAM"), UsernameFormat::SAM);
  EXPECT_EQ(UsernameFormatFromName("NTLM"), UsernameFormat::NTLM);
  EXPECT_EQ(UsernameFormatFromName("UPN"), UsernameFormat::UPN);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST(UsernameFormatFromName, ReturnsNtlmWithAWarningForAnyOtherText) {
  using namespace std::string_literals;
  for (const std::string& name :
       {""s, "ntlm"s, "upn"s, "Sam"s, "UP"s, "UPNX"s, " UPN"s, "UPN "s, "UPN\0"s, "Unknown"s, "0"s}) {
    SCOPED_TRACE(::testing::PrintToString(name));
    const LogCapture log;
    EXPECT_EQ(UsernameFormatFromName(name), UsernameFormat::NTLM);
    EXPECT_EQ(log.Lines(), kWarning);
  }
}

TEST(ElevationProtectionModeFromValue, ReturnsLogonOnlyForAnyNumberAboveTwo) {
  EXPECT_EQ(ElevationProtectionModeFromValue(0), ElevationProtectionMode::LogonOnly);
  EXPECT_EQ(ElevationProtectionModeFromValue(1), ElevationProtectionMode::ElevationOnly);
  EXPECT_EQ(ElevationProtectionModeFromValue(2), ElevationProtectionMode::LogonAndElevation);
  EXPECT_EQ(ElevationProtectionModeFromValue(3), ElevationProtectionMode::LogonOnly);
  EXPECT_EQ(ElevationProtectionModeFromValue(0x80000001), ElevationProtectionMode::LogonOnly);
  EXPECT_EQ(ElevationProtectionModeFromValue(0xFFFFFFFF), ElevationProtectionMode::LogonOnly);
}

}  // namespace
