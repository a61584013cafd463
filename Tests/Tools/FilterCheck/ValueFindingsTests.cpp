// Findings about single stored values.
#include "Tools/FilterCheck/FindingRows.h"

namespace {

using namespace KuvTest;
using FilterCheck::Examine;
using ::testing::IsEmpty;

TEST_F(Findings, AreEmptyForRequiredSettingsAlone) {
  EXPECT_THAT(IdsOf(Examine()), IsEmpty());
}

TEST_F(Findings, AreEmptyForValidValuesOfEveryKind) {
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
  local.SetTexts(L"ProvidersWhitelist", {kSmartCardText, kForeignText});
  registry.Policy().SetDword(L"OfflineMaxUsers", 50);
  registry.Policy().SetText(L"IKey", L"POLICY");
  EXPECT_THAT(IdsOf(Examine()), IsEmpty());
}

// clang-format off
TEST_F(Findings, ReportWrongTypes) {
  ExpectRows({
      {"text for a number", LocalText(L"RdpOnly", L"1"), "setting.wrong-type", kWarning, "RdpOnly",
       "The local value of RdpOnly is stored as REG_SZ. Only REG_DWORD is read, so it is ignored.",
       "create it again as REG_DWORD"},
      {"number for a text", PolicyDword(L"HttpProxyHost", 1), "setting.wrong-type", kWarning, "HttpProxyHost",
       "The policy value of HttpProxyHost is stored as REG_DWORD. Only REG_SZ is read", "REG_SZ"},
      {"text for a list", LocalText(L"ProvidersWhitelist", kPasswordText), "setting.wrong-type", kWarning,
       "ProvidersWhitelist", "Only REG_MULTI_SZ is read", "REG_MULTI_SZ"},
      {"unknown type", LocalBytes(L"Debug", 77, L"ab", 4), "setting.wrong-type", kWarning, "Debug",
       "is stored as type 77", "REG_DWORD"},
      {"expandable key", LocalBytes(L"IKey", REG_EXPAND_SZ, L"SAMPLE", 12), "setting.missing setting.wrong-type",
       kProblem, "IKey", "IKey is not set", "Set it"},
      {"overridden by policy", Both(LocalText(L"RdpOnly", L"1"), PolicyDword(L"RdpOnly", 0)),
       "setting.wrong-type", kNote, "RdpOnly", "The local value of RdpOnly", "REG_DWORD"},
  });
}

TEST_F(Findings, ReportWrongSizes) {
  const std::wstring listWithData = std::wstring{kSmartCardText} + L'\0' + L'\0' + kForeignText + L'\0' + L'\0';
  ExpectRows({
      {"short number in the record", LocalBytes(L"AutoPush", REG_DWORD, L"\x1", 2), "setting.wrong-size",
       kWarning, "AutoPush", "has 2 bytes instead of 4, and the missing bytes are treated as 0.", "create it again"},
      {"long number in the record", LocalBytes(L"AutoPush", REG_DWORD, L"\x1\x1\x1\x1", 8), "setting.wrong-size",
       kWarning, "AutoPush", "has 8 bytes instead of 4, so it is ignored.", "create it again"},
      {"read in two ways", LocalBytes(L"ElevationProtectionMode", REG_DWORD, L"\x1", 2), "setting.wrong-size",
       kWarning, "ElevationProtectionMode", "The two results differ.", "create it again"},
      {"read each time", LocalBytes(L"RdpOnly", REG_DWORD, L"\x1", 2), "setting.wrong-size", kWarning, "RdpOnly",
       "has 2 bytes instead of 4, so it is ignored.", "create it again"},
      {"text that is too long", LocalText(L"HttpProxyHost", std::wstring(1024, L'a')), "setting.too-long",
       kWarning, "HttpProxyHost", "takes 1025 bytes. The limit is 1,024 bytes: 1,023 characters and the "
       "terminator. The value is ignored.", "Shorten it"},
      {"longest text", LocalText(L"HttpProxyHost", std::wstring(1023, L'a'))},
      {"host that is too long", LocalText(L"Host", std::wstring(1024, L'a')), "setting.missing setting.too-long",
       kProblem, "Host", "Host is not set, so the second factor is not required", "Set it"},
      {"no data", LocalBytes(L"HttpProxyHost", REG_SZ, L"", 0), "setting.no-text", kWarning, "HttpProxyHost",
       "is empty and has no terminator", "delete the value"},
      {"unterminated text", LocalBytes(L"HttpProxyHost", REG_SZ, L"proxy", 10), "setting.unterminated", kWarning,
       "HttpProxyHost", "is stored without a terminator", "Write the value again"},
      {"odd size", LocalBytes(L"HttpProxyHost", REG_SZ, std::wstring{L"proxy\0", 6}, 11), "setting.unterminated",
       kWarning, "HttpProxyHost", "is stored without a terminator", "Write the value again"},
      {"text after the terminator", LocalBytes(L"HttpProxyHost", REG_SZ, std::wstring{L"a\0b\0", 4}, 8),
       "setting.data-after-terminator", kWarning, "HttpProxyHost", "has data after its terminator",
       "Write the value again"},
      {"unterminated list", LocalBytes(L"ProvidersWhitelist", REG_MULTI_SZ, std::wstring{kSmartCardText} + L'\0', 78),
       "setting.unterminated", kWarning, "ProvidersWhitelist", "is stored without a terminator",
       "Write the value again"},
      {"list after the terminator", LocalBytes(L"ProvidersWhitelist", REG_MULTI_SZ, listWithData, 158),
       "setting.data-after-terminator", kWarning, "ProvidersWhitelist", "has data after its terminator",
       "Write the value again"},
      {"empty list", LocalBytes(L"ProvidersWhitelist", REG_MULTI_SZ, L"", 0)},
  });
}

TEST_F(Findings, ReportWhitelistEntries) {
  ExpectRows({
      {"not an identifier", LocalList({kSmartCardText, L"Password"}), "whitelist.invalid-identifier", kWarning,
       "ProvidersWhitelist", "The entry 'Password' is not a class identifier, so the filter ignores it.",
       "in braces"},
      {"no braces", LocalList({L"8FD7E19C-3BF7-489B-A72C-846AB3678C96"}), "whitelist.invalid-identifier", kWarning,
       "ProvidersWhitelist", "is not a class identifier",
       "in braces, for example {D6886603-9D2F-4EB2-B667-1971041FA96B}."},
      {"twice", LocalList({kSmartCardText, kForeignText, L"{8fd7e19c-3bf7-489b-a72c-846ab3678c96}"}), "whitelist.duplicate",
       kWarning, "ProvidersWhitelist", "{8FD7E19C-3BF7-489B-A72C-846AB3678C96} is in the list more than once",
       "Keep one"},
      {"three times", LocalList({kSmartCardText, kSmartCardText, kSmartCardText}), "whitelist.duplicate", kWarning,
       "ProvidersWhitelist", "more than once", "Keep one"},
      {"old password provider, not installed", LocalList({L"{6F45DC1E-5384-457A-BC13-2CD81B0D28ED}"}),
       "whitelist.not-installed", kWarning, "ProvidersWhitelist", "names a provider that is not installed",
       "Check the identifier"},
      {"not installed", LocalList({L"{99999999-2222-3333-4444-555555555555}"}), "whitelist.not-installed", kWarning,
       "ProvidersWhitelist", "{99999999-2222-3333-4444-555555555555} names a provider that is not installed",
       "Check the identifier"},
      {"ten entries", LocalList(std::vector<std::wstring>(10, kSmartCardText)), "whitelist.too-long", kWarning,
       "ProvidersWhitelist", "has 10 entries in 782 bytes. The limit is 760 bytes, or nine identifiers. The whole "
       "list is ignored.", "Shorten the list to nine"},
      {"overridden by policy", Both(LocalList({L"nonsense"}), PolicyList({kSmartCardText}))},
  });
}

TEST_F(Findings, ReportNumbersOutOfRange) {
  ExpectRows({
      {"RdpOnly 2", LocalDword(L"RdpOnly", 2), "setting.not-0-or-1", kWarning, "RdpOnly",
       "The local value of RdpOnly is 2. Only 1 turns it on, so it is off.", "Set it to 0 or 1."},
      {"mode 3", PolicyDword(L"ElevationProtectionMode", 3), "setting.out-of-range", kWarning,
       "ElevationProtectionMode", "The policy value of ElevationProtectionMode is 3. The valid range is 0 to 2, so "
       "it is treated as 0.", "from 0 to 2"},
      {"format 3", LocalDword(L"UsernameFormatForService", 3), "setting.out-of-range", kWarning,
       "UsernameFormatForService", "The valid range is 0 to 2, so it is treated as 1.", "from 0 to 2"},
      {"users 51", PolicyDword(L"OfflineMaxUsers", 51), "setting.out-of-range", kWarning, "OfflineMaxUsers",
       "is 51. The valid range is 0 to 50, so it is treated as 50.", "from 0 to 50"},
      {"port 65536", LocalDword(L"HttpProxyPort", 65536), "setting.out-of-range", kWarning, "HttpProxyPort",
       "The valid range is 1 to 65535, but it is used as stored.", "from 1 to 65535"},
      {"port 0", LocalDword(L"HttpProxyPort", 0)},
      {"Debug 3", LocalDword(L"Debug", 3), "setting.out-of-range", kWarning, "Debug", "so it is treated as 2.",
       "from 1 to 2"},
      {"Debug 0", LocalDword(L"Debug", 0)},
      {"log limits", Both(LocalDword(L"LogFileMaxSizeMB", 4097), LocalDword(L"LogFileMaxCount", 101)),
       "setting.out-of-range setting.out-of-range", kWarning, "LogFileMaxSizeMB", "so it is treated as 4096.",
       "from 0 to 4096"},
      {"flag 2", LocalDword(L"FailOpen", 2)},
  });
}
// clang-format on

}  // namespace
