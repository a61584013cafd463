#include <cstdint>
#include <type_traits>

#include <gtest/gtest.h>

#include "KuvAuth/Support/ConstinitText.h"
#include "RecordFixture.h"
#include "Support/ImportHook.h"

namespace {

using KuvTest::Describe;
using KuvTest::LogLines;

static_assert(std::is_same_v<decltype(Configuration::Port), std::uint16_t>);
static_assert(std::is_same_v<decltype(Configuration::HttpProxyPort), std::uint32_t>);
static_assert(std::is_same_v<decltype(Configuration::OfflineMaxUsers), std::uint32_t>);
static_assert(std::is_same_v<decltype(Configuration::InactivityTimeoutSeconds), std::uint32_t>);
static_assert(!std::is_polymorphic_v<Configuration>);

class ConfigurationRecord : public KuvTest::KuvFixture {
 protected:
  Configuration& record = *GetConfiguration();
};

// Initialized before any code runs.
KUV_CONSTINIT_TEXT const Configuration g_initial;

TEST(InitialConfiguration, IsNotConfiguredAndHasTheDefaults) {
  EXPECT_EQ(Describe(g_initial),
            "Host= Port=0 IKey= SKey= HttpProxyHost= HttpProxyPort=0 OfflineMaxUsers=5 "
            "InactivityTimeoutSeconds=0 ProvidersWhitelist= FailOpen=1 AutoPush=0 local_ip_fallback=0 "
            "EnableSmartCards=0 WrapSmartCards=0 OfflineAvailable=1 ElevationOfflineEnable=1 "
            "ElevationOfflineEnrollment=0 ElevationProtectionMode=0 UsernameFormat=1");
  EXPECT_FALSE(g_initial.IsConfigured());
}

TEST(InitialConfiguration, IsWhatTheProcessStartsWith) {
  EXPECT_EQ(Describe(*GetConfiguration()), Describe(g_initial));
}

TEST_F(ConfigurationRecord, KeepsTheOrderOfItsFields) {
  const void* const fields[] = {&record.Host,
                                &record.Port,
                                &record.IKey,
                                &record.SKey,
                                &record.HttpProxyHost,
                                &record.HttpProxyPort,
                                &record.OfflineMaxUsers,
                                &record.InactivityTimeoutSeconds,
                                &record.ProvidersWhitelist,
                                &record.FailOpen,
                                &record.AutoPush,
                                &record.local_ip_fallback,
                                &record.EnableSmartCards,
                                &record.WrapSmartCards,
                                &record.OfflineAvailable,
                                &record.ElevationOfflineEnable,
                                &record.ElevationOfflineEnrollment,
                                &record.ElevationProtectionMode,
                                &record.UsernameFormat};
  for (std::size_t index = 1; index < std::size(fields); ++index) {
    EXPECT_LT(fields[index - 1], fields[index]) << "field " << index;
  }
}

TEST_F(ConfigurationRecord, IsConfiguredWithHostPortAndBothKeys) {
  for (unsigned present = 0; present < 16; ++present) {
    SCOPED_TRACE(present);
    record = {};
    if ((present & 1) != 0) record.Host = "h";
    if ((present & 2) != 0) record.Port = 1;
    if ((present & 4) != 0) record.IKey = "i";
    if ((present & 8) != 0) record.SKey = "s";
    EXPECT_EQ(record.IsConfigured(), present == 15);
  }
}

TEST_F(ConfigurationRecord, IsASingletonThatIsReturnedWithoutReading) {
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  EXPECT_EQ(GetConfiguration(), &record);
  EXPECT_NE(GetConfiguration(), nullptr);
  EXPECT_EQ(open.CallCount(), 0u);
}

TEST_F(ConfigurationRecord, AcceptsServiceCredentialsWithoutRegistryOrLog) {
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  EXPECT_TRUE(SetServiceCredentials("API.Example.com:8443", " Ikey ", " Skey\t"));
  EXPECT_EQ(record.Host, "api.example.com");
  EXPECT_EQ(record.Port, 8443u);
  EXPECT_EQ(record.IKey, " Ikey ");
  EXPECT_EQ(record.SKey, " Skey\t");
  EXPECT_EQ(open.CallCount(), 0u);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(ConfigurationRecord, SetServiceCredentialsSplitsTheHostAndReportsCompleteness) {
  const struct {
    const char* host;
    const char* ikey;
    const char* skey;
    bool complete;
    const char* expectedHost;
    std::uint16_t expectedPort;
  } rows[] = {
      {" API x ", "i", "s", true, " api x ", 443},
      {"", "i", "s", false, "", 443},
      {"h", "", "s", false, "h", 443},
      {"h", "i", "", false, "h", 443},
      {"h:0", "i", "s", false, "h", 0},
      {"h:65536", "i", "s", false, "h", 0},
      {"h", "i", "s", true, "h", 443},
      {"h:70000", "i", "s", true, "h", 4464},
      {"h:-1", "i", "s", true, "h", 65535},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::Message() << row.host << ", " << row.ikey << ", " << row.skey);
    EXPECT_EQ(SetServiceCredentials(row.host, row.ikey, row.skey), row.complete);
    EXPECT_EQ(record.Host, row.expectedHost);
    EXPECT_EQ(record.Port, row.expectedPort);
  }
}

TEST_F(ConfigurationRecord, AcceptsServiceCredentialsFromItsOwnFields) {
  record.Host = "HOST.example.com:99";
  record.IKey = "a client identifier of some length";
  record.SKey = "a key that is longer than a short string";
  EXPECT_TRUE(SetServiceCredentials(record.Host, record.IKey, record.SKey));
  EXPECT_EQ(record.Host, "host.example.com");
  EXPECT_EQ(record.Port, 99u);
  EXPECT_EQ(record.IKey, "a client identifier of some length");
  EXPECT_EQ(record.SKey, "a key that is longer than a short string");
}

TEST_F(ConfigurationRecord, SetServiceCredentialsChangesNoOtherField) {
  record.FailOpen = false;
  record.OfflineMaxUsers = 20;
  record.HttpProxyHost = "proxy";
  record.ProvidersWhitelist.emplace_back();
  Configuration expected = record;
  expected.Host = "h";
  expected.Port = 443;
  expected.IKey = "i";
  expected.SKey = "s";
  SetServiceCredentials("h", "i", "s");
  EXPECT_EQ(Describe(record), Describe(expected));
}

TEST(SplitHostAndPort, SplitsAtTheFirstColon) {
  const struct {
    const char* text;
    const char* host;
    std::int32_t port;
  } rows[] = {
      {"host:8443", "host", 8443},
      {"host", "host", 443},
      {"", "", 443},
      {"host:", "host", 0},
      {":", "", 0},
      {":80", "", 80},
      {"host:abc", "host", 0},
      {"host:80abc", "host", 80},
      {"host: \t80", "host", 80},
      {"host:+80", "host", 80},
      {"host:-80", "host", -80},
      {"host:- 80", "host", 0},
      {"host:0080", "host", 80},
      {"host:0x50", "host", 0},
      {"host:70000", "host", 70000},
      {"host:2147483647", "host", 2147483647},
      {"host:80:90", "host", 80},
      {"host::90", "host", 0},
      {"[::1]:8443", "[", 0},
      {" Host ", " Host ", 443},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    std::string text = row.text;
    EXPECT_EQ(SplitHostAndPort(text), row.port);
    EXPECT_EQ(text, row.host);
  }
}

}  // namespace
