#include "KuvAuth/Configuration/SettingEnums.h"

#include <type_traits>

#include <gtest/gtest.h>

#include "Support/LogCapture.h"

namespace {

using namespace std::string_literals;
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

TEST(UsernameFormat, ConvertsThreeFormatsWithoutALine) {
  const std::pair<UsernameFormat, std::string> rows[] = {
      {UsernameFormat::SAM, "SAM"}, {UsernameFormat::NTLM, "NTLM"}, {UsernameFormat::UPN, "UPN"}};
  const LogCapture log;
  for (const auto& [format, name] : rows) {
    SCOPED_TRACE(name);
    EXPECT_EQ(UsernameFormatName(format), name);
    EXPECT_EQ(UsernameFormatFromValue(static_cast<std::uint32_t>(format)), format);
    EXPECT_EQ(UsernameFormatFromName(name), format);
  }
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST(UsernameFormat, ConvertsAnyOtherNumberToNtlmWithAWarningAndHasNoNameForIt) {
  for (const std::uint32_t value : {3u, 4u, 0x80000000u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(value);
    const LogCapture log;
    EXPECT_EQ(UsernameFormatName(static_cast<UsernameFormat>(value)), "Unknown");
    EXPECT_EQ(UsernameFormatFromValue(value), UsernameFormat::NTLM);
    EXPECT_EQ(log.Lines(), kWarning);
  }
}

TEST(UsernameFormat, ConvertsAnyOtherTextToNtlmWithAWarning) {
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
  for (const std::uint32_t value : {3u, 0x80000001u, 0xFFFFFFFFu}) {
    EXPECT_EQ(ElevationProtectionModeFromValue(value), ElevationProtectionMode::LogonOnly) << value;
  }
}

}  // namespace
