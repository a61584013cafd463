// What is wrong with the host, with settings together and with names.
#include "Tools/FilterCheck/FindingRows.h"

namespace {

using namespace KuvTest;
using FilterCheck::Examine;
using FilterCheck::Severity;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

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
       Both(LocalList({kSmartCard}),
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
  registry.Local().SetTexts(L"ProvidersWhitelist", {kVendor});
  const FilterCheck::Situation situation = Examine();
  EXPECT_THAT(IdsOf(situation), ElementsAre("decision.no-second-factor"));
  EXPECT_EQ(situation.findings.front().severity, Severity::Problem);
  EXPECT_FALSE(situation.decision.inForce);
  EXPECT_EQ(situation.decision.atConsole,
            "At the console a user sees Vendor, and no provider that asks for the second factor.");
  // The smart card provider asks too, once it stays.
  registry.Local().SetDword(L"EnableSmartCards", 1);
  registry.Local().SetDword(L"WrapSmartCards", 1);
  EXPECT_THAT(IdsOf(Examine()), IsEmpty());
  EXPECT_TRUE(Examine().decision.inForce);
}

}  // namespace
