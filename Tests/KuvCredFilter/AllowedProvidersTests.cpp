#include "KuvCredFilter/AllowedProviders.h"

#include <cstring>

#include "KuvCredFilter/FilterFixture.h"
#include "KuvCredFilter/Identifiers.h"

namespace {

using namespace KuvTest;

class AllowedProviders : public FilterFixture {
 protected:
  static Names Allowed() { return Texts(GetAllowedProviders()); }
};

// The only comparison of the product's identifiers with those that other programs use.
TEST(Identifiers, AreThoseThatTheProvidersRegister) {
  EXPECT_EQ(Text(CLSID_KuvCredFilter), kFilterClass);
  EXPECT_EQ(Text(CLSID_KuvCredProv), kKuv);
  EXPECT_EQ(Text(CLSID_KuvSmartCardCredProv), kKuvSmartCard);
  EXPECT_EQ(Text(CLSID_SmartcardCredentialProvider), kSmartCard);
  EXPECT_EQ(Text(CLSID_V1SmartcardCredentialProvider), kV1SmartCard);
  EXPECT_EQ(Text(IID_ICredentialProviderFilter), kICredentialProviderFilter);
}

TEST_F(AllowedProviders, AreTheKuvProviderAloneByDefault) {
  Configure();
  EXPECT_EQ(Allowed(), (Names{kKuv}));
}

TEST_F(AllowedProviders, FollowTheWhitelistInItsOrder) {
  Configure({kVendor, kPassword, kOther});
  EXPECT_EQ(Allowed(), (Names{kVendor, kPassword, kOther, kKuv}));
}

TEST_F(AllowedProviders, KeepDuplicatesOfTheWhitelist) {
  Configure({kVendor, kKuv, kVendor}).EnableSmartCards = true;
  GetConfiguration()->WrapSmartCards = true;
  EXPECT_EQ(Allowed(), (Names{kVendor, kKuv, kVendor, kKuv, kKuvSmartCard}));
}

TEST_F(AllowedProviders, WrapWithoutEnableAddsNoSmartCard) {
  Configure({kVendor}).WrapSmartCards = true;
  KUV_IMPORT_HOOK(version, VerifyVersionInfoW);
  EXPECT_EQ(Allowed(), (Names{kVendor, kKuv}));
  EXPECT_EQ(version.CallCount(), 0u);
}

TEST_F(AllowedProviders, WrappingAddsTheKuvSmartCardProviderOnAnyVersion) {
  Configure({kVendor}).EnableSmartCards = true;
  GetConfiguration()->WrapSmartCards = true;
  KUV_IMPORT_HOOK(version, VerifyVersionInfoW);
  EXPECT_EQ(Allowed(), (Names{kVendor, kKuv, kKuvSmartCard}));
  EXPECT_EQ(version.CallCount(), 0u);
}

TEST_F(AllowedProviders, IncludeTheSmartCardProviderOfTheVersion) {
  Configure({kVendor}).EnableSmartCards = true;
  KUV_IMPORT_HOOK(version, VerifyVersionInfoW);
  for (const BOOL success : {1, 2, -1}) {
    version.Answer([=](OSVERSIONINFOEXW*, DWORD, DWORDLONG) { return success; });
    EXPECT_EQ(Allowed(), (Names{kVendor, kKuv, kSmartCard}));
  }
  version.Answer([](OSVERSIONINFOEXW*, DWORD, DWORDLONG) -> BOOL {
    ::SetLastError(ERROR_OLD_WIN_VERSION);
    return FALSE;
  });
  EXPECT_EQ(Allowed(), (Names{kVendor, kKuv, kV1SmartCard}));
}

// Replaces the version check by that of a system of each version.
TEST_F(AllowedProviders, CheckForVersion62OrLater) {
  Configure().EnableSmartCards = true;
  KUV_IMPORT_HOOK(version, VerifyVersionInfoW);
  struct System {
    DWORD major, minor;
    const char* provider;
  };
  for (const System& system :
       {System{5, 1, kV1SmartCard}, System{6, 0, kV1SmartCard}, System{6, 1, kV1SmartCard},
        System{6, 2, kSmartCard}, System{6, 3, kSmartCard}, System{10, 0, kSmartCard}}) {
    SCOPED_TRACE(testing::Message() << system.major << '.' << system.minor);
    version.Answer([=](OSVERSIONINFOEXW* record, DWORD, DWORDLONG) -> BOOL {
      const bool atLeast = system.major != record->dwMajorVersion ? system.major > record->dwMajorVersion
                                                                  : system.minor >= record->dwMinorVersion;
      return atLeast ? TRUE : FALSE;
    });
    EXPECT_EQ(Allowed(), (Names{kKuv, system.provider}));
  }
}

TEST_F(AllowedProviders, IncludeTheNewSmartCardProviderOnThisSystem) {
  Configure().EnableSmartCards = true;
  EXPECT_EQ(Allowed(), (Names{kKuv, kSmartCard}));
}

TEST_F(AllowedProviders, PassAnExactRecordToTheVersionCheck) {
  Configure().EnableSmartCards = true;
  KUV_IMPORT_HOOK(mask, VerSetConditionMask);
  KUV_IMPORT_HOOK(version, VerifyVersionInfoW);
  mask.Script({[](ULONGLONG, DWORD, BYTE) { return ULONGLONG{0x111}; },
               [](ULONGLONG, DWORD, BYTE) { return ULONGLONG{0x222}; },
               [](ULONGLONG, DWORD, BYTE) { return ULONGLONG{0x333}; }});
  OSVERSIONINFOEXW record{};
  version.Answer([&](OSVERSIONINFOEXW* asked, DWORD types, DWORDLONG conditions) -> BOOL {
    record = *asked;
    EXPECT_EQ(types, 0x23u);
    EXPECT_EQ(conditions, 0x333u);
    return TRUE;
  });
  EXPECT_EQ(Allowed(), (Names{kKuv, kSmartCard}));
  EXPECT_EQ(version.CallCount(), 1u);
  OSVERSIONINFOEXW expected{};
  expected.dwOSVersionInfoSize = 284;
  expected.dwMajorVersion = 6;
  expected.dwMinorVersion = 2;
  EXPECT_EQ(std::memcmp(&record, &expected, sizeof(expected)), 0);
  // Major, minor, service pack major, each greater or equal, each upon the mask before.
  EXPECT_EQ(mask.Calls(), (std::vector<std::tuple<ULONGLONG, DWORD, BYTE>>{
                              {0, 0x2, 3}, {0x111, 0x1, 3}, {0x222, 0x20, 3}}));
}

TEST_F(AllowedProviders, ThrowIfTheSettingsCannotBeLoaded) {
  try {
    GetAllowedProviders();
    FAIL() << "nothing was thrown";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "Filter unable to load Kuv configuration");
  }
  EXPECT_EQ(
      log.Lines(),
      (LogLines{
          {LogLevel::Error,
           "Kuv WinLogon MFA not configured properly. Please check 'Host', 'IKey' and 'SKey' settings."}}));
}

TEST_F(AllowedProviders, ComeFromTheRegistryOnFirstUse) {
  registry.Local().SetText(L"Host", L"host.example");
  registry.Local().SetText(L"IKey", L"ikey");
  registry.Local().SetText(L"SKey", L"skey");
  registry.Local().SetTexts(L"ProvidersWhitelist", {L"{0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9}"});
  registry.Policy().SetDword(L"EnableSmartCards", 1);
  registry.Policy().SetDword(L"WrapSmartCards", 2);
  EXPECT_EQ(Allowed(), (Names{kVendor, kKuv, kKuvSmartCard}));
}

TEST_F(AllowedProviders, AreNotReadFromTheRegistryAgain) {
  registry.Local().SetText(L"Host", L"host.example");
  registry.Local().SetText(L"IKey", L"ikey");
  registry.Local().SetText(L"SKey", L"skey");
  EXPECT_EQ(Allowed(), (Names{kKuv}));
  registry.Local().SetTexts(L"ProvidersWhitelist", {L"{0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9}"});
  registry.Local().SetDword(L"EnableSmartCards", 1);
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  EXPECT_EQ(Allowed(), (Names{kKuv}));
  EXPECT_EQ(open.CallCount(), 0u);
}

TEST_F(AllowedProviders, AreBuiltFromTheRecordAtEachCall) {
  Configure({kVendor});
  EXPECT_EQ(Allowed(), (Names{kVendor, kKuv}));
  EXPECT_EQ(Texts(GetConfiguration()->ProvidersWhitelist), (Names{kVendor}));
  GetConfiguration()->ProvidersWhitelist.clear();
  GetConfiguration()->EnableSmartCards = true;
  GetConfiguration()->WrapSmartCards = true;
  EXPECT_EQ(Allowed(), (Names{kKuv, kKuvSmartCard}));
}

TEST_F(AllowedProviders, LogNothing) {
  Configure({kVendor}).EnableSmartCards = true;
  GetAllowedProviders();
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(AllowedProviders, AreEnabledAndEveryOtherDisabledWhateverTheFlagsWere) {
  const std::vector<GUID> providers = Guids({kPassword, kKuv, kVendor, kVendor, kAlmostKuv});
  for (const BOOL before : {0, 1, 7, -1}) {
    std::vector<BOOL> allow(providers.size(), before);
    log.Clear();
    EnableAllowedProviders({providers.data(), providers.size()}, {allow.data(), allow.size()},
                           Guids({kOther, kVendor, kKuv}));
    EXPECT_EQ(allow, (std::vector<BOOL>{0, 1, 1, 1, 0})) << before;
    EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Info, "Enabling Kuv and whitelisted Credential Providers"}}));
  }
}

TEST_F(AllowedProviders, OnlyKuvProvidersAreDisabledWhateverTheFlagsWere) {
  Configure({kKuv, kKuvSmartCard, kVendor});
  const std::vector<GUID> providers =
      Guids({kPassword, kKuv, kKuvSmartCard, kVendor, kSmartCard, kAlmostKuv, kKuv});
  for (const BOOL before : {0, 1, 7, -1}) {
    std::vector<BOOL> allow(providers.size(), before);
    log.Clear();
    DisableKuvProviders({providers.data(), providers.size()}, {allow.data(), allow.size()});
    EXPECT_EQ(allow, (std::vector<BOOL>{1, 0, 0, 1, 1, 1, 0})) << before;
    EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Info, "Disabling Kuv Credential Provider"}}));
  }
}

TEST_F(AllowedProviders, KuvProvidersAreTwo) {
  EXPECT_TRUE(IsKuvProvider(Guid(kKuv)));
  EXPECT_TRUE(IsKuvProvider(Guid(kKuvSmartCard)));
  for (const char* const other : {kFilterClass, kSmartCard, kV1SmartCard, kPassword, kVendor}) {
    EXPECT_FALSE(IsKuvProvider(Guid(other))) << other;
  }
}

TEST_F(AllowedProviders, AreMatchedByAllSixteenBytes) {
  for (std::size_t byte = 0; byte < sizeof(GUID); ++byte) {
    GUID close = Guid(kKuv);
    reinterpret_cast<BYTE*>(&close)[byte] ^= 0x01;
    EXPECT_FALSE(IsKuvProvider(close)) << byte;
    EXPECT_FALSE(IsAllowed({Guid(kVendor), Guid(kKuv)}, close)) << byte;
  }
  EXPECT_TRUE(IsAllowed({Guid(kVendor), Guid(kKuv)}, Guid(kKuv)));
  EXPECT_FALSE(IsAllowed({}, Guid(kKuv)));
}

}  // namespace
