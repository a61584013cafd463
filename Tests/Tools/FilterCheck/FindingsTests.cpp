// Each finding: made by one change to a machine that has none, and gone with it.
#include <functional>

#include <gmock/gmock.h>

#include "Tools/FilterCheck/SettingsFixture.h"

namespace {

using namespace KuvTest;
using FilterCheck::Examine;
using FilterCheck::Finding;
using FilterCheck::Severity;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// What is stored of one setting beside a machine that is as it should be.
using Change = std::function<void(const TestKey& local, const TestKey& policy)>;

struct Row {
  const char* name;
  Change change;
  std::vector<std::string> ids;
  Severity severity;
  const char* subject;
  const char* text;    ///< part of it
  const char* advice;  ///< part of it
};

Change LocalDword(const wchar_t* name, std::uint32_t number) {
  return [=](const TestKey& local, const TestKey&) { local.SetDword(name, number); };
}

Change PolicyDword(const wchar_t* name, std::uint32_t number) {
  return [=](const TestKey&, const TestKey& policy) { policy.SetDword(name, number); };
}

Change LocalText(const wchar_t* name, const std::wstring& text) {
  return [=](const TestKey& local, const TestKey&) { local.SetText(name, text); };
}

Change PolicyText(const wchar_t* name, const std::wstring& text) {
  return [=](const TestKey&, const TestKey& policy) { policy.SetText(name, text); };
}

Change LocalList(const std::vector<std::wstring>& entries) {
  return [=](const TestKey& local, const TestKey&) { local.SetTexts(L"ProvidersWhitelist", entries); };
}

// Of these bytes and no more: behind them stands what is no NUL, which the platform would store too.
Change LocalBytes(const wchar_t* name, DWORD type, const std::wstring& units, std::size_t bytes) {
  return [=](const TestKey& local, const TestKey&) {
    const std::wstring data = units + L"\xFFFF";
    local.SetBytes(name, type, data.data(), bytes);
  };
}

Change LocalDelete(const wchar_t* name) {
  return [=](const TestKey& local, const TestKey&) { local.DeleteValue(name); };
}

Change Both(const Change& first, const Change& second) {
  return [=](const TestKey& local, const TestKey& policy) {
    first(local, policy);
    second(local, policy);
  };
}

class Findings : public SettingsFixture {
 protected:
  // Each row starts from the same machine.
  void ExpectRows(const std::vector<Row>& rows) const {
    for (const Row& row : rows) {
      SCOPED_TRACE(row.name);
      row.change(registry.Local(), registry.Policy());
      const FilterCheck::Situation situation = Examine();
      EXPECT_EQ(IdsOf(situation), row.ids);
      if (!row.ids.empty() && !situation.findings.empty()) ExpectFinding(situation.findings.front(), row);
      Restore();
    }
  }

  static void ExpectFinding(const Finding& finding, const Row& row) {
    EXPECT_EQ(finding.severity, row.severity);
    EXPECT_EQ(finding.subject, row.subject);
    EXPECT_THAT(finding.text, HasSubstr(row.text));
    EXPECT_THAT(finding.advice, HasSubstr(row.advice));
  }

  void Restore() const {
    for (const TestKey& key : {registry.Local(), registry.Policy()}) {
      if (key.Exists()) key.Delete();
    }
    WriteGoodSettings();
    ASSERT_THAT(IdsOf(Examine()), IsEmpty());
  }
};

TEST_F(Findings, GoodSettingsHaveNone) {
  EXPECT_THAT(IdsOf(Examine()), IsEmpty());
}

TEST_F(Findings, GoodValuesOfEveryKindHaveNone) {
  const TestKey local = registry.Local();
  local.SetText(L"Host", L"auth.kuv.example:8443");
  local.SetDword(L"RdpOnly", 1);
  local.SetDword(L"ElevationProtectionMode", 2);
  local.SetDword(L"UsernameFormatForService", 2);
  local.SetDword(L"EnableSmartCards", 1);
  local.SetDword(L"WrapSmartCards", 1);
  local.SetText(L"HttpProxyHost", L"proxy.example");
  local.SetDword(L"HttpProxyPort", 65535);
  local.SetDword(L"Debug", 2);
  local.SetDword(L"LogFileMaxSizeMB", 4096);
  local.SetDword(L"LogFileMaxCount", 100);
  local.SetTexts(L"ProvidersWhitelist", {kPassword, kVendor});
  registry.Policy().SetDword(L"OfflineMaxUsers", 50);
  registry.Policy().SetText(L"IKey", L"POLICY");
  EXPECT_THAT(IdsOf(Examine()), IsEmpty());
}

TEST_F(Findings, OfTypes) {
  ExpectRows({
      {"text for a number",
       LocalText(L"RdpOnly", L"1"),
       {"setting.wrong-type"},
       Severity::Warning,
       "RdpOnly",
       "The local value of RdpOnly is stored as REG_SZ. Only REG_DWORD is read, so it counts as absent.",
       "write it anew as REG_DWORD"},
      {"number for a text",
       [](const TestKey&, const TestKey& policy) { policy.SetDword(L"HttpProxyHost", 1); },
       {"setting.wrong-type"},
       Severity::Warning,
       "HttpProxyHost",
       "The policy value of HttpProxyHost is stored as REG_DWORD. Only REG_SZ is read",
       "REG_SZ"},
      {"text for a list",
       LocalText(L"ProvidersWhitelist", kPassword),
       {"setting.wrong-type"},
       Severity::Warning,
       "ProvidersWhitelist",
       "Only REG_MULTI_SZ is read",
       "REG_MULTI_SZ"},
      {"unknown type",
       LocalBytes(L"Debug", 77, L"ab", 4),
       {"setting.wrong-type"},
       Severity::Warning,
       "Debug",
       "is stored as type 77",
       "REG_DWORD"},
      {"expandable key",
       LocalBytes(L"IKey", REG_EXPAND_SZ, L"SAMPLE", 12),
       {"setting.missing", "setting.wrong-type"},
       Severity::Problem,
       "IKey",
       "IKey is not set",
       "Set it"},
      {"hidden by policy",
       Both(LocalText(L"RdpOnly", L"1"), PolicyDword(L"RdpOnly", 0)),
       {"setting.wrong-type"},
       Severity::Note,
       "RdpOnly",
       "The local value of RdpOnly",
       "REG_DWORD"},
  });
}

TEST_F(Findings, OfSizes) {
  ExpectRows({
      {"short number of the record",
       LocalBytes(L"AutoPush", REG_DWORD, L"\x1", 2),
       {"setting.wrong-size"},
       Severity::Warning,
       "AutoPush",
       "holds 2 bytes instead of 4, and the missing bytes are taken as 0.",
       "write it anew"},
      {"long number of the record",
       LocalBytes(L"AutoPush", REG_DWORD, L"\x1\x1\x1\x1", 8),
       {"setting.wrong-size"},
       Severity::Warning,
       "AutoPush",
       "holds 8 bytes instead of 4, so it counts as absent.",
       "write it anew"},
      {"read in two ways",
       LocalBytes(L"ElevationProtectionMode", REG_DWORD, L"\x1", 2),
       {"setting.wrong-size"},
       Severity::Warning,
       "ElevationProtectionMode",
       "the two differ",
       "write it anew"},
      {"read at once",
       LocalBytes(L"RdpOnly", REG_DWORD, L"\x1", 2),
       {"setting.wrong-size"},
       Severity::Warning,
       "RdpOnly",
       "holds 2 bytes instead of 4, so it counts as absent.",
       "write it anew"},
      {"too long a text",
       LocalText(L"HttpProxyHost", std::wstring(1024, L'a')),
       {"setting.too-long"},
       Severity::Warning,
       "HttpProxyHost",
       "takes 1025 bytes with its end. At most 1,024 fit, 1,023 characters and the end, so it counts as "
       "absent.",
       "Shorten it"},
      {"the longest text",
       LocalText(L"HttpProxyHost", std::wstring(1023, L'a')),
       {},
       Severity::Note,
       "",
       "",
       ""},
      {"too long a host",
       LocalText(L"Host", std::wstring(1024, L'a')),
       {"setting.missing", "setting.too-long"},
       Severity::Problem,
       "Host",
       "Host is not set, so the second factor is off",
       "Set it"},
      {"no text",
       LocalBytes(L"HttpProxyHost", REG_SZ, L"", 0),
       {"setting.no-text"},
       Severity::Warning,
       "HttpProxyHost",
       "holds no text at all",
       "delete it"},
      {"unterminated text",
       LocalBytes(L"HttpProxyHost", REG_SZ, L"proxy", 10),
       {"setting.unterminated"},
       Severity::Warning,
       "HttpProxyHost",
       "is stored without its end",
       "Write it anew"},
      {"odd text",
       LocalBytes(L"HttpProxyHost", REG_SZ, std::wstring{L"proxy\0", 6}, 11),
       {"setting.unterminated"},
       Severity::Warning,
       "HttpProxyHost",
       "is stored without its end",
       "Write it anew"},
      {"text behind its end",
       LocalBytes(L"HttpProxyHost", REG_SZ, std::wstring{L"a\0b\0", 4}, 8),
       {"setting.cut-short"},
       Severity::Warning,
       "HttpProxyHost",
       "goes on behind its end",
       "Write it anew"},
      {"unterminated list",
       LocalBytes(L"ProvidersWhitelist", REG_MULTI_SZ, std::wstring{kPassword} + L'\0', 78),
       {"setting.unterminated"},
       Severity::Warning,
       "ProvidersWhitelist",
       "is stored without its end",
       "Write it anew"},
      {"list behind its end",
       LocalBytes(L"ProvidersWhitelist", REG_MULTI_SZ,
                  std::wstring{kPassword} + L'\0' + L'\0' + kVendor + L'\0' + L'\0', 158),
       {"setting.cut-short"},
       Severity::Warning,
       "ProvidersWhitelist",
       "goes on behind its end",
       "Write it anew"},
      {"empty list", LocalBytes(L"ProvidersWhitelist", REG_MULTI_SZ, L"", 0), {}, Severity::Note, "", "", ""},
  });
}

TEST_F(Findings, OfTheWhitelist) {
  std::vector<std::wstring> ten(10, kPassword);
  ExpectRows({
      {"no identifier",
       LocalList({kPassword, L"Password"}),
       {"whitelist.no-identifier"},
       Severity::Warning,
       "ProvidersWhitelist",
       "The entry 'Password' is no class identifier. It is passed over",
       "in braces"},
      {"no braces",
       LocalList({L"60B78E88-EAD8-445C-9CFD-0B87F74EA6CD"}),
       {"whitelist.no-identifier"},
       Severity::Warning,
       "ProvidersWhitelist",
       "is no class identifier",
       "in braces"},
      {"twice",
       LocalList({kPassword, kVendor, L"{60b78e88-ead8-445c-9cfd-0b87f74ea6cd}"}),
       {"whitelist.repeated"},
       Severity::Warning,
       "ProvidersWhitelist",
       "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD} stands in the list more than once",
       "Keep one"},
      {"three times",
       LocalList({kPassword, kPassword, kPassword}),
       {"whitelist.repeated"},
       Severity::Warning,
       "ProvidersWhitelist",
       "more than once",
       "Keep one"},
      {"not installed",
       LocalList({L"{99999999-2222-3333-4444-555555555555}"}),
       {"whitelist.not-installed"},
       Severity::Warning,
       "ProvidersWhitelist",
       "{99999999-2222-3333-4444-555555555555} names a provider that is not installed",
       "Check the identifier"},
      {"ten",
       LocalList(ten),
       {"whitelist.too-many"},
       Severity::Warning,
       "ProvidersWhitelist",
       "holds 10 entries in 782 bytes. At most 760 bytes fit, nine identifiers, so the whole list counts as "
       "absent.",
       "Keep nine"},
      {"hidden by policy",
       Both(LocalList({L"nonsense"}),
            [](const TestKey&, const TestKey& policy) {
              policy.SetTexts(L"ProvidersWhitelist", {kPassword});
            }),
       {},
       Severity::Note,
       "",
       "",
       ""},
  });
}

TEST_F(Findings, OfRanges) {
  ExpectRows({
      {"RdpOnly 2",
       LocalDword(L"RdpOnly", 2),
       {"setting.neither-0-nor-1"},
       Severity::Warning,
       "RdpOnly",
       "The local value of RdpOnly is 2. Only 1 turns it on, so it is off.",
       "Write 1 or 0."},
      {"mode 3",
       PolicyDword(L"ElevationProtectionMode", 3),
       {"setting.out-of-range"},
       Severity::Warning,
       "ElevationProtectionMode",
       "The policy value of ElevationProtectionMode is 3. Its range is 0 to 2, so it counts as 0.",
       "from 0 to 2"},
      {"format 3",
       LocalDword(L"UsernameFormatForService", 3),
       {"setting.out-of-range"},
       Severity::Warning,
       "UsernameFormatForService",
       "Its range is 0 to 2, so it counts as 1.",
       "from 0 to 2"},
      {"users 51",
       PolicyDword(L"OfflineMaxUsers", 51),
       {"setting.out-of-range"},
       Severity::Warning,
       "OfflineMaxUsers",
       "is 51. Its range is 0 to 50, so it counts as 50.",
       "from 0 to 50"},
      {"port 65536",
       LocalDword(L"HttpProxyPort", 65536),
       {"setting.out-of-range"},
       Severity::Warning,
       "HttpProxyPort",
       "Its range is 1 to 65535; it is taken all the same.",
       "from 1 to 65535"},
      {"port 0", LocalDword(L"HttpProxyPort", 0), {}, Severity::Note, "", "", ""},
      {"Debug 3",
       LocalDword(L"Debug", 3),
       {"setting.out-of-range"},
       Severity::Warning,
       "Debug",
       "so it counts as 2.",
       "from 1 to 2"},
      {"Debug 0", LocalDword(L"Debug", 0), {}, Severity::Note, "", "", ""},
      {"log limits",
       Both(LocalDword(L"LogFileMaxSizeMB", 4097), LocalDword(L"LogFileMaxCount", 101)),
       {"setting.out-of-range", "setting.out-of-range"},
       Severity::Warning,
       "LogFileMaxSizeMB",
       "so it counts as 4096.",
       "from 0 to 4096"},
      {"flag 2", LocalDword(L"FailOpen", 2), {}, Severity::Note, "", "", ""},
  });
}

TEST_F(Findings, OfTheHost) {
  ExpectRows({
      {"port 0",
       LocalText(L"Host", L"a.example:0"),
       {"host.bad-port"},
       Severity::Problem,
       "Host",
       "The port of Host, '0', is no number from 1 to 65535. It is read as port 0, so the second factor is "
       "off.",
       "from 1 to 65535"},
      {"no port",
       LocalText(L"Host", L"a.example:"),
       {"host.bad-port"},
       Severity::Problem,
       "Host",
       "''",
       "leave out the colon"},
      {"no digits",
       LocalText(L"Host", L"a.example:https"),
       {"host.bad-port"},
       Severity::Problem,
       "Host",
       "'https'",
       ""},
      {"above 65535",
       LocalText(L"Host", L"a.example:70000"),
       {"host.bad-port"},
       Severity::Warning,
       "Host",
       "'70000', is no number from 1 to 65535. It is read as port 4464.",
       ""},
      {"65536",
       LocalText(L"Host", L"a.example:65536"),
       {"host.bad-port"},
       Severity::Problem,
       "Host",
       "is off",
       ""},
      {"trailing rubbish",
       LocalText(L"Host", L"a.example:8443/api"),
       {"host.bad-port"},
       Severity::Warning,
       "Host",
       "'8443/api', is no number from 1 to 65535. It is read as port 8443.",
       ""},
      {"sign",
       LocalText(L"Host", L"a.example:+8443"),
       {"host.bad-port"},
       Severity::Warning,
       "Host",
       "'+8443'",
       ""},
      {"bracketed address",
       LocalText(L"Host", L"[2001:db8::1]:443"),
       {"host.ipv6"},
       Severity::Problem,
       "Host",
       "Host is [2001:db8::1]:443, an address of IP version 6",
       "name instead"},
      {"bare address",
       LocalText(L"Host", L"::1"),
       {"setting.missing", "host.ipv6"},
       Severity::Problem,
       "Host",
       "not set",
       ""},
      {"short address",
       LocalText(L"Host", L"fe80::1"),
       {"host.ipv6"},
       Severity::Problem,
       "Host",
       "is off",
       ""},
      {"blanks",
       LocalText(L"Host", L" auth .kuv.example\t"),
       {"host.blanks"},
       Severity::Warning,
       "Host",
       "They are removed: auth.kuv.example counts.",
       "without blanks"},
      {"blanks alone",
       LocalText(L"Host", L"  "),
       {"setting.missing"},
       Severity::Problem,
       "Host",
       "not set",
       ""},
      {"a good port", LocalText(L"Host", L"a.example:65535"), {}, Severity::Note, "", "", ""},
      {"hidden by policy",
       Both(LocalText(L"Host", L"a.example:0"), PolicyText(L"Host", L"b.example")),
       {},
       Severity::Note,
       "",
       "",
       ""},
  });
}

TEST_F(Findings, OfMissingSettings) {
  ExpectRows({
      {"Host",
       LocalDelete(L"Host"),
       {"setting.missing"},
       Severity::Problem,
       "Host",
       "Host is not set, so the second factor is off: the filter takes the Kuv providers away and leaves all "
       "others.",
       "HKLM\\Software\\Kuvant\\KuvCredProv"},
      {"IKey",
       LocalDelete(L"IKey"),
       {"setting.missing"},
       Severity::Problem,
       "IKey",
       "IKey is not set",
       "Set it"},
      {"SKey",
       LocalDelete(L"SKey"),
       {"setting.missing"},
       Severity::Problem,
       "SKey",
       "SKey is not set",
       "Set it"},
      {"blank SKey",
       LocalText(L"SKey", L" "),
       {"setting.missing"},
       Severity::Problem,
       "SKey",
       "SKey is not set",
       "Set it"},
  });
}

TEST_F(Findings, OfPolicyAgainstLocal) {
  ExpectRows({
      {"empty policy text",
       PolicyText(L"IKey", L""),
       {"setting.missing", "setting.empty-policy-hides-local"},
       Severity::Problem,
       "IKey",
       "not set",
       "Set it"},
      {"empty policy proxy",
       Both(LocalText(L"HttpProxyHost", L"proxy"), PolicyText(L"HttpProxyHost", L"")),
       {"setting.empty-policy-hides-local"},
       Severity::Warning,
       "HttpProxyHost",
       "The policy value of HttpProxyHost is empty, and hides the local one.",
       "not configured"},
      {"empty policy alone", PolicyText(L"HttpProxyHost", L""), {}, Severity::Note, "", "", ""},
      {"empty policy list",
       Both(LocalList({kPassword}),
            [](const TestKey&, const TestKey& policy) { policy.SetTexts(L"ProvidersWhitelist", {}); }),
       {"setting.empty-policy-hides-local"},
       Severity::Warning,
       "ProvidersWhitelist",
       "hides the local one",
       "not configured"},
      {"users discarded",
       LocalDword(L"OfflineMaxUsers", 10),
       {"offline-users.discarded"},
       Severity::Warning,
       "OfflineMaxUsers",
       "The local value of OfflineMaxUsers, 10, does not count: as soon as the policy key exists, 5",
       "by policy too"},
      {"users of policy",
       Both(LocalDword(L"OfflineMaxUsers", 10), PolicyDword(L"OfflineMaxUsers", 20)),
       {},
       Severity::Note,
       "",
       "",
       ""},
      {"users without policy",
       Both(LocalDword(L"OfflineMaxUsers", 10),
            [](const TestKey&, const TestKey& policy) { policy.Delete(); }),
       {},
       Severity::Note,
       "",
       "",
       ""},
      {"Debug 0 in policy",
       Both(LocalDword(L"Debug", 1), PolicyDword(L"Debug", 0)),
       {"debug.zero-in-policy"},
       Severity::Warning,
       "Debug",
       "does not undo the local value: 1 counts.",
       "Delete the local value."},
      {"Debug 0 in policy alone", PolicyDword(L"Debug", 0), {}, Severity::Note, "", "", ""},
  });
}

TEST_F(Findings, OfUselessSettings) {
  ExpectRows({
      {"wrap alone",
       LocalDword(L"WrapSmartCards", 1),
       {"smart-cards.wrap-without-enable"},
       Severity::Warning,
       "WrapSmartCards",
       "WrapSmartCards is on without EnableSmartCards, so it does nothing",
       "EnableSmartCards"},
      {"wrap and enable",
       Both(LocalDword(L"WrapSmartCards", 1), PolicyDword(L"EnableSmartCards", 1)),
       {},
       Severity::Note,
       "",
       "",
       ""},
      {"size alone",
       LocalDword(L"LogFileMaxSizeMB", 10),
       {"log-limit.without-twin"},
       Severity::Warning,
       "LogFileMaxSizeMB",
       "LogFileMaxSizeMB is set without LogFileMaxCount, so it does nothing",
       "Set LogFileMaxCount as well."},
      {"count alone",
       PolicyDword(L"LogFileMaxCount", 10),
       {"log-limit.without-twin"},
       Severity::Warning,
       "LogFileMaxCount",
       "LogFileMaxCount is set without LogFileMaxSizeMB",
       "Set LogFileMaxSizeMB as well."},
      {"both in different keys",
       Both(LocalDword(L"LogFileMaxSizeMB", 10), PolicyDword(L"LogFileMaxCount", 10)),
       {},
       Severity::Note,
       "",
       "",
       ""},
  });
}

TEST_F(Findings, OfUnknownNames) {
  ExpectRows({
      {"misspelt",
       LocalDword(L"RdpOny", 1),
       {"setting.unknown-name"},
       Severity::Warning,
       "RdpOny",
       "HKLM\\Software\\Kuvant\\KuvCredProv holds a value 'RdpOny', which is no setting and is not read.",
       "If RdpOnly is meant, rename it."},
      {"misspelt in policy",
       PolicyDword(L"elevation_protection_mode", 1),
       {"setting.unknown-name"},
       Severity::Warning,
       "elevation_protection_mode",
       "HKLM\\Software\\Policies\\Kuvant\\KuvCredProv holds",
       "If ElevationProtectionMode is meant, rename it."},
      {"blank at the end",
       LocalText(L"SKey ", L"secret"),
       {"setting.unknown-name"},
       Severity::Warning,
       "SKey ",
       "'SKey '",
       "If SKey is meant"},
      {"like none",
       LocalDword(L"LastUser", 1),
       {"setting.unknown-name"},
       Severity::Note,
       "LastUser",
       "'LastUser'",
       "unless another program needs it"},
      {"other case", LocalDword(L"RDPONLY", 1), {}, Severity::Note, "", "", ""},
      {"the key's own value", LocalText(L"", L"text"), {}, Severity::Note, "", "", ""},
  });
}

TEST_F(Findings, NobodyGetsInWithoutAnAllowedProvider) {
  ProviderKey(kKuv).Delete();
  ProviderKey(kKuvSmartCard).SetText(L"", L"Kuv smart card");
  const FilterCheck::Situation situation = Examine();
  EXPECT_THAT(IdsOf(situation), ElementsAre("decision.nobody-gets-in"));
  EXPECT_EQ(situation.findings.front().severity, Severity::Problem);
  EXPECT_FALSE(situation.decision.inForce);
  EXPECT_EQ(situation.decision.atConsole,
            "At the console a user sees no provider at all, and cannot get in.");
}

TEST_F(Findings, NobodyIsAskedWithoutAKuvProviderOnTheScreen) {
  ProviderKey(kKuv).Delete();
  ProviderKey(kKuvSmartCard).SetText(L"", L"Kuv smart card");
  registry.Local().SetTexts(L"ProvidersWhitelist", {kPassword});
  const FilterCheck::Situation situation = Examine();
  EXPECT_THAT(IdsOf(situation), ElementsAre("decision.no-second-factor"));
  EXPECT_EQ(situation.findings.front().severity, Severity::Problem);
  EXPECT_FALSE(situation.decision.inForce);
  EXPECT_EQ(situation.decision.atConsole,
            "At the console a user sees Password, and no provider that asks for the second factor.");
  // The smart card provider asks too, once it stays.
  registry.Local().SetDword(L"EnableSmartCards", 1);
  registry.Local().SetDword(L"WrapSmartCards", 1);
  EXPECT_THAT(IdsOf(Examine()), IsEmpty());
  EXPECT_TRUE(Examine().decision.inForce);
}

}  // namespace
