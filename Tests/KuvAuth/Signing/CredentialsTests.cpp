#include "KuvAuth/Signing/Credentials.h"

#include <windows.h>

#include <gtest/gtest.h>

#include "Samples.h"
#include "Support/ImportHook.h"
#include "Support/KuvFixture.h"

namespace {

using namespace Kuv::Signing;
using KuvTest::kHost;
using KuvTest::kKey;
using KuvTest::kUser;

std::string BytesOf(const Secret& secret) {
  const auto bytes = secret.ExposeForSigning();
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

CredentialValues ValidValues() {
  return {.host = kHost, .port = 8443, .integrationKey = kUser, .secretKey = Secret{kKey}};
}

TEST(CredentialsFromValues, HoldsTheValuesWithTheHostInLowerCase) {
  CredentialValues values = ValidValues();
  values.host = "AUTH.Kuv.example";
  const Result<Credentials> credentials = Credentials::FromValues(std::move(values));
  ASSERT_TRUE(credentials);
  EXPECT_EQ(credentials->Host(), kHost);
  EXPECT_EQ(credentials->Port(), 8443);
  EXPECT_EQ(credentials->IntegrationKey(), kUser);
  EXPECT_EQ(BytesOf(credentials->SecretKey()), kKey);
}

TEST(CredentialsFromValues, HasThePortOfHttpsByDefault) {
  EXPECT_EQ(CredentialValues{}.port, 443);
}

TEST(CredentialsFromValues, AcceptsNamesAndAddresses) {
  for (const char* const host : {"a", "a_b-c.example", "192.0.2.1", "[::1]", "[2001:db8::ff]", "x.", "-"}) {
    CredentialValues values = ValidValues();
    values.host = host;
    EXPECT_TRUE(Credentials::FromValues(std::move(values))) << host;
  }
}

TEST(CredentialsFromValues, AcceptsAnyOtherCharacterInTheIntegrationKey) {
  CredentialValues values = ValidValues();
  values.integrationKey = " ~\x80\xFF/=?";
  EXPECT_TRUE(Credentials::FromValues(std::move(values)));
}

TEST(CredentialsFromValues, RefusesInvalidFields) {
  const struct {
    const char* name;
    void (*change)(CredentialValues& values);
    Reason reason;
    const char* field;
  } rows[] = {
      {"no host", [](auto& v) { v.host = ""; }, Reason::Empty, "host"},
      {"host with a port", [](auto& v) { v.host = "a:1"; }, Reason::InvalidCharacter, "host"},
      {"address without brackets", [](auto& v) { v.host = "::1"; }, Reason::InvalidCharacter, "host"},
      {"half a bracket", [](auto& v) { v.host = "[::1"; }, Reason::InvalidCharacter, "host"},
      {"empty brackets", [](auto& v) { v.host = "[]"; }, Reason::InvalidCharacter, "host"},
      {"host with a line feed", [](auto& v) { v.host = "a\nb"; }, Reason::InvalidCharacter, "host"},
      {"host with CR", [](auto& v) { v.host = "a\r"; }, Reason::InvalidCharacter, "host"},
      {"host with NUL", [](auto& v) { v.host = std::string("a\0b", 3); }, Reason::InvalidCharacter, "host"},
      {"host with a space", [](auto& v) { v.host = "a b"; }, Reason::InvalidCharacter, "host"},
      {"host with a path", [](auto& v) { v.host = "a/b"; }, Reason::InvalidCharacter, "host"},
      {"host with a user", [](auto& v) { v.host = "a@b"; }, Reason::InvalidCharacter, "host"},
      {"host beyond ASCII", [](auto& v) { v.host = "\xC3\xA4"; }, Reason::InvalidCharacter, "host"},
      {"port 0", [](auto& v) { v.port = 0; }, Reason::OutOfRange, "port"},
      {"no integration key", [](auto& v) { v.integrationKey = ""; }, Reason::Empty, "integrationKey"},
      {"colon", [](auto& v) { v.integrationKey = "a:b"; }, Reason::InvalidCharacter, "integrationKey"},
      {"control", [](auto& v) { v.integrationKey = "a\x1F"; }, Reason::InvalidCharacter, "integrationKey"},
      {"DEL", [](auto& v) { v.integrationKey = "a\x7F"; }, Reason::InvalidCharacter, "integrationKey"},
      {"line feed", [](auto& v) { v.integrationKey = "a\n"; }, Reason::InvalidCharacter, "integrationKey"},
      {"NUL", [](auto& v) { v.integrationKey = std::string(1, '\0'); }, Reason::InvalidCharacter,
       "integrationKey"},
      {"no secret key", [](auto& v) { v.secretKey = Secret{}; }, Reason::Empty, "secretKey"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    CredentialValues values = ValidValues();
    row.change(values);
    const Result<Credentials> credentials = Credentials::FromValues(std::move(values));
    ASSERT_FALSE(credentials);
    EXPECT_EQ(credentials.GetFailure().reason, row.reason);
    EXPECT_EQ(credentials.GetFailure().field, row.field);
    EXPECT_EQ(credentials.GetFailure().Describe().find(kKey), std::string::npos);
  }
}

TEST(CredentialsFromValues, RefusesTextsAboveTheLimit) {
  const std::string large(kMaximumSize + 1, 'x');
  CredentialValues values = ValidValues();
  values.host = large;
  EXPECT_EQ(Credentials::FromValues(std::move(values)).GetFailure().reason, Reason::TooLong);
  values = ValidValues();
  values.integrationKey = large;
  EXPECT_EQ(Credentials::FromValues(std::move(values)).GetFailure().reason, Reason::TooLong);
  values = ValidValues();
  values.secretKey = Secret{large};
  EXPECT_EQ(Credentials::FromValues(std::move(values)).GetFailure().reason, Reason::TooLong);
}

TEST(CredentialsFromValues, AcceptsTextsAtTheLimit) {
  const std::string large(kMaximumSize, 'x');
  CredentialValues values = ValidValues();
  values.host = large;
  EXPECT_TRUE(Credentials::FromValues(std::move(values)));
  values = ValidValues();
  values.integrationKey = large;
  EXPECT_TRUE(Credentials::FromValues(std::move(values)));
  values = ValidValues();
  values.secretKey = Secret{large};
  EXPECT_TRUE(Credentials::FromValues(std::move(values)));
}

class CredentialsFromSettings : public KuvTest::KuvFixture {};

TEST_F(CredentialsFromSettings, ReadsTheSettingsButNotIntoTheRecordOfTheProcess) {
  registry.Local().SetText(L"Host", L"AUTH.kuv.example:8443");
  registry.Local().SetText(L"IKey", L"overridden");
  registry.Local().SetText(L"SKey", L"sample-key-that-signs-nothing");
  registry.Policy().SetText(L"IKey", L"SAMPLECLIENTIDENTIFIER");
  const Result<Credentials> credentials = Credentials::FromSettings();
  ASSERT_TRUE(credentials) << credentials.GetFailure().Describe();
  EXPECT_EQ(credentials->Host(), kHost);
  EXPECT_EQ(credentials->Port(), 8443);
  EXPECT_EQ(credentials->IntegrationKey(), kUser);
  EXPECT_EQ(BytesOf(credentials->SecretKey()), kKey);
  EXPECT_EQ(GetConfiguration()->SKey, "");
  EXPECT_EQ(GetConfiguration()->Host, "");
  EXPECT_FALSE(log.Contains(kKey));
}

TEST_F(CredentialsFromSettings, IgnoresARecordThatWasSetOtherwise) {
  ASSERT_TRUE(SetServiceCredentials("other.example", "other", "other"));
  EXPECT_EQ(Credentials::FromSettings().GetFailure().reason, Reason::MissingSetting);
}

TEST_F(CredentialsFromSettings, SeesAChangeAtTheNextCall) {
  registry.Local().SetText(L"Host", L"auth.kuv.example");
  registry.Local().SetText(L"IKey", L"first");
  registry.Local().SetText(L"SKey", L"key");
  EXPECT_EQ(Credentials::FromSettings()->IntegrationKey(), "first");
  registry.Local().SetText(L"IKey", L"second");
  EXPECT_EQ(Credentials::FromSettings()->IntegrationKey(), "second");
}

TEST_F(CredentialsFromSettings, NamesEachMissingSetting) {
  const struct {
    bool host, identifier, key;
    const char* missing;
  } rows[] = {
      {false, false, false, "Host, IKey, SKey"},
      {true, false, false, "IKey, SKey"},
      {false, true, false, "Host, SKey"},
      {false, false, true, "Host, IKey"},
      {false, true, true, "Host"},
      {true, false, true, "IKey"},
      {true, true, false, "SKey"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.missing);
    registry.Local().SetText(L"Host", row.host ? L"auth.kuv.example" : L"");
    // White space is removed, so nothing remains of it.
    registry.Local().SetText(L"IKey", row.identifier ? L"id" : L" \t");
    registry.Local().SetText(L"SKey", row.key ? L"sample-key-that-signs-nothing" : L"");
    const Result<Credentials> credentials = Credentials::FromSettings();
    ASSERT_FALSE(credentials);
    EXPECT_EQ(credentials.GetFailure().reason, Reason::MissingSetting);
    EXPECT_EQ(credentials.GetFailure().field, row.missing);
  }
}

// An administrator can protect the keys, so a program without elevation cannot read them.
TEST_F(CredentialsFromSettings, ReportsAKeyThatCannotBeOpened) {
  const struct {
    LSTATUS local, policy;
    Reason reason;
    std::uint32_t code;
  } rows[] = {
      {ERROR_ACCESS_DENIED, ERROR_FILE_NOT_FOUND, Reason::PlatformCallFailed, 5},
      {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, Reason::PlatformCallFailed, 5},
      {ERROR_OUTOFMEMORY, ERROR_ACCESS_DENIED, Reason::PlatformCallFailed, 14},
      {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, Reason::MissingSetting, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.local);
    KUV_IMPORT_HOOK(openKey, RegOpenKeyExA);
    openKey.Answer([&row](HKEY, const char* path, DWORD, REGSAM, HKEY*) {
      return path == std::string{"Software\\Kuvant\\KuvCredProv"} ? row.local : row.policy;
    });
    const Result<Credentials> credentials = Credentials::FromSettings();
    ASSERT_FALSE(credentials);
    EXPECT_EQ(credentials.GetFailure().reason, row.reason);
    EXPECT_EQ(credentials.GetFailure().field, "Host, IKey, SKey");
    EXPECT_EQ(credentials.GetFailure().call, row.code == 0 ? "" : "RegOpenKeyExA");
    EXPECT_EQ(credentials.GetFailure().code, row.code);
  }
}

TEST_F(CredentialsFromSettings, ReportsInvalidSettingsByName) {
  const struct {
    const wchar_t* host;
    const wchar_t* identifier;
    Reason reason;
    const char* setting;
  } rows[] = {
      {L"auth.kuv.example:0", L"id", Reason::OutOfRange, "Host"},
      {L"auth.kuv.example:x", L"id", Reason::OutOfRange, "Host"},
      {L"auth/kuv", L"id", Reason::InvalidCharacter, "Host"},
      {L"auth.kuv.example", L"a:b", Reason::InvalidCharacter, "IKey"},
  };
  registry.Local().SetText(L"SKey", L"sample-key-that-signs-nothing");
  for (const auto& row : rows) {
    registry.Local().SetText(L"Host", row.host);
    registry.Local().SetText(L"IKey", row.identifier);
    const Result<Credentials> credentials = Credentials::FromSettings();
    ASSERT_FALSE(credentials);
    EXPECT_EQ(credentials.GetFailure().reason, row.reason);
    EXPECT_EQ(credentials.GetFailure().field, row.setting);
  }
}

}  // namespace
