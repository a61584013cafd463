// What is wrong with single stored values.
#include "Tools/FilterCheck/FindingRows.h"

namespace {

using namespace KuvTest;
using FilterCheck::Examine;
using FilterCheck::Severity;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

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
  local.SetTexts(L"ProvidersWhitelist", {kSmartCard, kVendor});
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
       LocalBytes(L"ProvidersWhitelist", REG_MULTI_SZ, std::wstring{kSmartCard} + L'\0', 78),
       {"setting.unterminated"},
       Severity::Warning,
       "ProvidersWhitelist",
       "is stored without its end",
       "Write it anew"},
      {"list behind its end",
       LocalBytes(L"ProvidersWhitelist", REG_MULTI_SZ,
                  std::wstring{kSmartCard} + L'\0' + L'\0' + kVendor + L'\0' + L'\0', 158),
       {"setting.cut-short"},
       Severity::Warning,
       "ProvidersWhitelist",
       "goes on behind its end",
       "Write it anew"},
      {"empty list", LocalBytes(L"ProvidersWhitelist", REG_MULTI_SZ, L"", 0), {}, Severity::Note, "", "", ""},
  });
}

TEST_F(Findings, OfTheWhitelist) {
  std::vector<std::wstring> ten(10, kSmartCard);
  ExpectRows({
      {"no identifier",
       LocalList({kSmartCard, L"Password"}),
       {"whitelist.no-identifier"},
       Severity::Warning,
       "ProvidersWhitelist",
       "The entry 'Password' is no class identifier. It is passed over",
       "in braces"},
      {"no braces",
       LocalList({L"8FD7E19C-3BF7-489B-A72C-846AB3678C96"}),
       {"whitelist.no-identifier"},
       Severity::Warning,
       "ProvidersWhitelist",
       "is no class identifier",
       "in braces, for example {D6886603-9D2F-4EB2-B667-1971041FA96B}."},
      {"twice",
       LocalList({kSmartCard, kVendor, L"{8fd7e19c-3bf7-489b-a72c-846ab3678c96}"}),
       {"whitelist.repeated"},
       Severity::Warning,
       "ProvidersWhitelist",
       "{8FD7E19C-3BF7-489B-A72C-846AB3678C96} stands in the list more than once",
       "Keep one"},
      {"three times",
       LocalList({kSmartCard, kSmartCard, kSmartCard}),
       {"whitelist.repeated"},
       Severity::Warning,
       "ProvidersWhitelist",
       "more than once",
       "Keep one"},
      {"password",
       LocalList({kVendor, kPassword}),
       {"whitelist.password"},
       Severity::Warning,
       "ProvidersWhitelist",
       "The entry {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD} is Windows' own password provider: where the second "
       "factor protects, a password alone gets in.",
       "Take the entry off"},
      {"password twice",
       LocalList({kPassword, kPassword}),
       {"whitelist.password", "whitelist.repeated"},
       Severity::Warning,
       "ProvidersWhitelist",
       "a password alone gets in",
       "Take the entry off"},
      {"old password that is not installed",
       LocalList({L"{6F45DC1E-5384-457A-BC13-2CD81B0D28ED}"}),
       {"whitelist.not-installed"},
       Severity::Warning,
       "ProvidersWhitelist",
       "names a provider that is not installed",
       "Check the identifier"},
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
              policy.SetTexts(L"ProvidersWhitelist", {kSmartCard});
            }),
       {},
       Severity::Note,
       "",
       "",
       ""},
  });
}

TEST_F(Findings, OfTheOldPasswordProviderOnTheWhitelist) {
  ProviderKey(L"{6F45DC1E-5384-457A-BC13-2CD81B0D28ED}").Create();
  registry.Local().SetTexts(L"ProvidersWhitelist", {L"{6f45dc1e-5384-457a-bc13-2cd81b0d28ed}"});
  EXPECT_THAT(IdsOf(Examine()), ElementsAre("whitelist.password"));
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

}  // namespace
