// Findings about the host, about combinations of settings and about value names.
#include "Tools/FilterCheck/FindingRows.h"

namespace {

using namespace KuvTest;

// clang-format off
TEST_F(Findings, ReportInvalidHosts) {
  ExpectRows({
      {"port 0", LocalText(L"Host", L"a.example:0"), "host.bad-port", kProblem, "Host",
       "The port of Host, '0', is not a number from 1 to 65535. It is read as port 0, so the second factor is not "
       "required.", "from 1 to 65535"},
      {"no port", LocalText(L"Host", L"a.example:"), "host.bad-port", kProblem, "Host", "''", "omit the colon"},
      {"no digits", LocalText(L"Host", L"a.example:https"), "host.bad-port", kProblem, "Host", "'https'"},
      {"above 65535", LocalText(L"Host", L"a.example:70000"), "host.bad-port", kWarning, "Host",
       "'70000', is not a number from 1 to 65535. It is read as port 4464."},
      {"65536", LocalText(L"Host", L"a.example:65536"), "host.bad-port", kProblem, "Host", "is not required"},
      {"text after the port", LocalText(L"Host", L"a.example:8443/api"), "host.bad-port", kWarning, "Host",
       "'8443/api', is not a number from 1 to 65535. It is read as port 8443."},
      {"sign", LocalText(L"Host", L"a.example:+8443"), "host.bad-port", kWarning, "Host", "'+8443'"},
      {"bracketed address", LocalText(L"Host", L"[2001:db8::1]:443"), "host.ipv6", kProblem, "Host",
       "Host is [2001:db8::1]:443, an IPv6 address", "host name of the service instead"},
      {"bare address", LocalText(L"Host", L"::1"), "setting.missing host.ipv6", kProblem, "Host", "not set"},
      {"short address", LocalText(L"Host", L"fe80::1"), "host.ipv6", kProblem, "Host", "is not required"},
      {"white space", LocalText(L"Host", L" auth .kuv.example\t"), "host.white-space", kWarning, "Host",
       "The filter removes it and uses auth.kuv.example.", "Remove the white space"},
      {"white space alone", LocalText(L"Host", L"  "), "setting.missing", kProblem, "Host", "not set"},
      {"valid port", LocalText(L"Host", L"a.example:65535")},
      {"overridden by policy", Both(LocalText(L"Host", L"a.example:0"), PolicyText(L"Host", L"b.example"))},
  });
}

TEST_F(Findings, ReportMissingSettings) {
  ExpectRows({
      {"Host", LocalDelete(L"Host"), "setting.missing", kProblem, "Host",
       "Host is not set, so the second factor is not required.", "HKLM\\Software\\Kuvant\\KuvCredProv"},
      {"IKey", LocalDelete(L"IKey"), "setting.missing", kProblem, "IKey", "IKey is not set", "Set it"},
      {"SKey", LocalDelete(L"SKey"), "setting.missing", kProblem, "SKey", "SKey is not set", "Set it"},
      {"blank SKey", LocalText(L"SKey", L" "), "setting.missing", kProblem, "SKey", "SKey is not set", "Set it"},
  });
}

TEST_F(Findings, ReportConflictsOfPolicyAndLocalValues) {
  ExpectRows({
      {"empty policy text", PolicyText(L"IKey", L""), "setting.missing setting.empty-policy-overrides-local",
       kProblem, "IKey", "not set", "Set it"},
      {"empty policy proxy", Both(LocalText(L"HttpProxyHost", L"proxy"), PolicyText(L"HttpProxyHost", L"")),
       "setting.empty-policy-overrides-local", kWarning, "HttpProxyHost",
       "The policy value of HttpProxyHost is empty and overrides the local value.", "Not Configured"},
      {"empty policy alone", PolicyText(L"HttpProxyHost", L"")},
      {"empty policy list", Both(LocalList({kSmartCardText}), PolicyList({})), "setting.empty-policy-overrides-local",
       kWarning, "ProvidersWhitelist", "overrides the local value", "Not Configured"},
      {"users discarded", LocalDword(L"OfflineMaxUsers", 10), "offline-users.discarded", kWarning, "OfflineMaxUsers",
       "The local value of OfflineMaxUsers, 10, is ignored: because the policy key exists, 5", "by policy"},
      {"users in policy", Both(LocalDword(L"OfflineMaxUsers", 10), PolicyDword(L"OfflineMaxUsers", 20))},
      {"users without policy", Both(LocalDword(L"OfflineMaxUsers", 10), DeletePolicyKey())},
      {"Debug 0 in policy", Both(LocalDword(L"Debug", 1), PolicyDword(L"Debug", 0)), "debug.zero-in-policy",
       kWarning, "Debug", "does not override the local value: 1 is used.", "Delete the local value."},
      {"Debug 0 in policy alone", PolicyDword(L"Debug", 0)},
  });
}

TEST_F(Findings, ReportSettingsWithoutEffect) {
  ExpectRows({
      {"wrap alone", LocalDword(L"WrapSmartCards", 1), "smart-cards.wrap-without-enable", kWarning,
       "WrapSmartCards", "WrapSmartCards is on without EnableSmartCards, so it has no effect", "EnableSmartCards"},
      {"wrap and enable", Both(LocalDword(L"WrapSmartCards", 1), PolicyDword(L"EnableSmartCards", 1))},
      {"size alone", LocalDword(L"LogFileMaxSizeMB", 10), "log-limit.incomplete", kWarning, "LogFileMaxSizeMB",
       "LogFileMaxSizeMB is set without LogFileMaxCount, so it has no effect", "Set LogFileMaxCount as well."},
      {"count alone", PolicyDword(L"LogFileMaxCount", 10), "log-limit.incomplete", kWarning, "LogFileMaxCount",
       "LogFileMaxCount is set without LogFileMaxSizeMB", "Set LogFileMaxSizeMB as well."},
      {"both in different keys", Both(LocalDword(L"LogFileMaxSizeMB", 10), PolicyDword(L"LogFileMaxCount", 10))},
  });
}

TEST_F(Findings, ReportUnknownValueNames) {
  ExpectRows({
      {"misspelled", LocalDword(L"RdpOny", 1), "setting.unknown-name", kWarning, "RdpOny",
       "HKLM\\Software\\Kuvant\\KuvCredProv contains a value 'RdpOny', which is not a setting and is ignored.",
       "If you meant RdpOnly, rename the value."},
      {"misspelled in policy", PolicyDword(L"elevation_protection_mode", 1), "setting.unknown-name", kWarning,
       "elevation_protection_mode", "HKLM\\Software\\Policies\\Kuvant\\KuvCredProv contains",
       "If you meant ElevationProtectionMode, rename the value."},
      {"trailing space", LocalText(L"SKey ", L"secret"), "setting.unknown-name", kWarning, "SKey ", "'SKey '",
       "If you meant SKey"},
      {"similar to none", LocalDword(L"LastUser", 1), "setting.unknown-name", kNote, "LastUser", "'LastUser'",
       "unless another program needs it"},
      {"other case", LocalDword(L"RDPONLY", 1)},
      {"default value of the key", LocalText(L"", L"text")},
  });
}
// clang-format on

}  // namespace
