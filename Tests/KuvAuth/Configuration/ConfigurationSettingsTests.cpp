#include <gtest/gtest.h>

#include "RecordFixture.h"

namespace {

using KuvTest::Describe;
using KuvTest::Info;
using KuvTest::kNotConfigured;
using KuvTest::LogLines;

// How each accepted value is interpreted, on the platform's registry.
class ConfigurationSettings : public KuvTest::RecordFixture {
 protected:
  void ReadLocalKey() {
    log.Clear();
    record.ReadKey(platform, "Software\\Kuvant\\KuvCredProv");
  }

  Registry platform;
  const KuvTest::TestKey key = registry.Local();
};

const struct {
  const wchar_t* stored;
  const char* host;
  std::uint16_t port;
  const char* line;
  bool complete = true;
} kHosts[] = {
    {L"API.Example.COM", "api.example.com", 443, "Host: api.example.com"},
    {L"host:8443", "host", 8443, "Host: host:8443"},
    {L"HOST:8443", "host", 8443, "Host: host:8443"},
    {L"host:1", "host", 1, "Host: host:1"},
    {L"host:65535", "host", 65535, "Host: host:65535"},
    {L"host:70000", "host", 4464, "Host: host:70000"},
    {L"host:-1", "host", 65535, "Host: host:-1"},
    {L"host:443abc", "host", 443, "Host: host:443abc"},
    {L"host:80:90", "host", 80, "Host: host:80:90"},
    {L"  A p i . E x : 8 0  ", "api.ex", 80, "Host: api.ex:80"},
    {L"\ta\r\nb\v\fc", "abc", 443, "Host: abc"},
    {L"host:", "host", 0, "Host: host:", false},
    {L"host:abc", "host", 0, "Host: host:abc", false},
    {L"host:0", "host", 0, "Host: host:0", false},
    {L"host:65536", "host", 0, "Host: host:65536", false},
    {L"host::80", "host", 0, "Host: host::80", false},
    {L"[::1]:8443", "[", 0, "Host: [::1]:8443", false},
    {L":443", "", 443, "Host: :443", false},
    {L"", "", 443, "Host: ", false},
    {L"   ", "", 443, "Host: ", false},
};

TEST_F(ConfigurationSettings, HostIsLoweredStrippedLoggedAndSplitAndNeedsNameAndPort) {
  key.SetText(L"IKey", L"i");
  key.SetText(L"SKey", L"s");
  for (const auto& row : kHosts) {
    SCOPED_TRACE(row.line);
    key.SetText(L"Host", row.stored);
    log.Clear();
    record = {};
    EXPECT_EQ(record.Load(platform), row.complete);
    EXPECT_EQ(record.Host, row.host);
    EXPECT_EQ(record.Port, row.port);
    LogLines expected{Info(row.line), Info("IKey: i")};
    if (!row.complete) expected.push_back(kNotConfigured);
    EXPECT_EQ(log.Lines(), expected);
  }
}

TEST_F(ConfigurationSettings, IKeyIsStrippedAndLoggedWithItsCase) {
  key.SetText(L"IKey", L" Ab Cd:1\t");
  ReadLocalKey();
  EXPECT_EQ(record.IKey, "AbCd:1");
  EXPECT_EQ(log.Lines(), LogLines{Info("IKey: AbCd:1")});
}

TEST_F(ConfigurationSettings, SKeyIsStrippedButKeepsItsCaseAndIsNotLogged) {
  key.SetText(L"SKey", L" Ab Cd:1\t");
  ReadLocalKey();
  EXPECT_EQ(record.SKey, "AbCd:1");
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(ConfigurationSettings, HttpProxyHostIsStrippedAndLoggedWithItsCase) {
  key.SetText(L"HttpProxyHost", L" Pro xy:3128\t");
  ReadLocalKey();
  EXPECT_EQ(record.HttpProxyHost, "Proxy:3128");
  EXPECT_EQ(record.HttpProxyPort, 0u);
  EXPECT_EQ(log.Lines(), LogLines{Info("HttpProxyHost: Proxy:3128")});
}

TEST_F(ConfigurationSettings, EachFlagIsTrueForAnyNumberButZero) {
  const struct {
    const wchar_t* name;
    bool Configuration::*field;
    bool initial;
  } flags[] = {
      {L"FailOpen", &Configuration::FailOpen, true},
      {L"EnableSmartCards", &Configuration::EnableSmartCards, false},
      {L"WrapSmartCards", &Configuration::WrapSmartCards, false},
      {L"AutoPush", &Configuration::AutoPush, false},
      {L"local_ip_fallback", &Configuration::local_ip_fallback, false},
      {L"OfflineAvailable", &Configuration::OfflineAvailable, true},
      {L"ElevationOfflineEnable", &Configuration::ElevationOfflineEnable, true},
      {L"ElevationOfflineEnrollment", &Configuration::ElevationOfflineEnrollment, false},
  };
  for (const auto& flag : flags) {
    EXPECT_EQ(Configuration{}.*flag.field, flag.initial);
    for (const std::uint32_t number : {0u, 1u, 2u, 0x100u, 0x80000000u, 0xFFFFFFFFu}) {
      for (const bool before : {false, true}) {
        SCOPED_TRACE(::testing::Message() << ::testing::PrintToString(flag.name) << " = " << number);
        record = {};
        record.*flag.field = before;
        Configuration expected;
        expected.*flag.field = number != 0;
        key.SetDword(flag.name, number);
        ReadLocalKey();
        EXPECT_EQ(Describe(record), Describe(expected));
        EXPECT_EQ(log.Lines(), LogLines{});
      }
    }
    key.DeleteValue(flag.name);
  }
}

TEST_F(ConfigurationSettings, UnknownUsernameFormatBecomesNtlmWithAWarning) {
  const std::pair<std::uint32_t, UsernameFormat> rows[] = {{0, UsernameFormat::SAM},
                                                           {1, UsernameFormat::NTLM},
                                                           {2, UsernameFormat::UPN},
                                                           {3, UsernameFormat::NTLM},
                                                           {0xFFFFFFFF, UsernameFormat::NTLM}};
  const LogLines warning{{LogLevel::Warning, "Unrecognized Kuv username format; defaulting to NTLM"}};
  for (const auto& [number, format] : rows) {
    SCOPED_TRACE(number);
    record.UsernameFormat = format == UsernameFormat::UPN ? UsernameFormat::SAM : UsernameFormat::UPN;
    key.SetDword(L"UsernameFormatForService", number);
    ReadLocalKey();
    EXPECT_EQ(record.UsernameFormat, format);
    EXPECT_EQ(log.Lines(), number < 3 ? LogLines{} : warning);
  }
}

TEST_F(ConfigurationSettings, NumbersWithoutALimitAreStoredUnchanged) {
  const struct {
    std::uint32_t number;
    const char* printed;
  } rows[] = {{0, "0"}, {1, "1"}, {65536, "65536"}, {0x7FFFFFFF, "2147483647"}, {0xFFFFFFFF, "-1"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.printed);
    key.SetDword(L"HttpProxyPort", row.number);
    key.SetDword(L"InactivityTimeoutSeconds", row.number);
    ReadLocalKey();
    EXPECT_EQ(record.HttpProxyPort, row.number);
    EXPECT_EQ(record.InactivityTimeoutSeconds, row.number);
    EXPECT_EQ(log.Lines(), (LogLines{Info(std::string{"HttpProxyPort: "} + row.printed),
                                     Info(std::string{"Inactivity Timeout in seconds: "} + row.printed)}));
  }
}

TEST_F(ConfigurationSettings, OfflineMaxUsersIsAtMostFifty) {
  const struct {
    std::uint32_t stored;
    std::uint32_t expected;
  } rows[] = {{0, 0}, {1, 1}, {5, 5}, {49, 49}, {50, 50}, {51, 50}, {0x80000000, 50}, {0xFFFFFFFF, 50}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.stored);
    key.SetDword(L"OfflineMaxUsers", row.stored);
    ReadLocalKey();
    EXPECT_EQ(record.OfflineMaxUsers, row.expected);
    EXPECT_EQ(log.Lines(), LogLines{});
  }
}

TEST_F(ConfigurationSettings, OfflineMaxUsersIsFiveWithoutANumber) {
  key.Create();
  record.OfflineMaxUsers = 20;
  ReadLocalKey();
  EXPECT_EQ(record.OfflineMaxUsers, 5u);
  key.SetText(L"OfflineMaxUsers", L"9");
  record.OfflineMaxUsers = 20;
  ReadLocalKey();
  EXPECT_EQ(record.OfflineMaxUsers, 5u);
}

TEST_F(ConfigurationSettings, ElevationProtectionModeAboveTwoBecomesLogonOnly) {
  const struct {
    std::uint32_t stored;
    ElevationProtectionMode expected;
  } rows[] = {
      {0, ElevationProtectionMode::LogonOnly},          {1, ElevationProtectionMode::ElevationOnly},
      {2, ElevationProtectionMode::LogonAndElevation},  {3, ElevationProtectionMode::LogonOnly},
      {0x80000000, ElevationProtectionMode::LogonOnly}, {0xFFFFFFFF, ElevationProtectionMode::LogonOnly},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.stored);
    record.ElevationProtectionMode = ElevationProtectionMode::ElevationOnly;
    key.SetDword(L"ElevationProtectionMode", row.stored);
    ReadLocalKey();
    EXPECT_EQ(record.ElevationProtectionMode, row.expected);
    EXPECT_EQ(log.Lines(), LogLines{});
  }
}

TEST_F(ConfigurationSettings, IgnoresValuesOfOtherNames) {
  key.SetDword(L"RdpOnly", 1);
  key.SetDword(L"UsernameFormat", 2);
  key.SetDword(L"Port", 8080);
  key.SetDword(L"LogFileMaxCount", 3);
  ReadLocalKey();
  EXPECT_EQ(Describe(record), Describe(Configuration{}));
  EXPECT_EQ(log.Lines(), LogLines{});
}

}  // namespace
