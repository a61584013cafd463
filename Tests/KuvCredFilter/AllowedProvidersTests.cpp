#include "KuvCredFilter/AllowedProviders.h"

#include <objbase.h>

#include <algorithm>
#include <cstring>

#include "KuvCredFilter/FilterFixture.h"
#include "KuvCredFilter/Identifiers.h"
#include "Support/GuardedBuffer.h"

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

TEST(BoundedArray, ReadsAndWritesUpToItsCount) {
  const GuardedBuffer<BOOL> flags{3};
  const BoundedArray<BOOL> array{flags.Get(), 3};
  for (std::uint64_t i = 0; i < array.Count(); ++i) array[i] = static_cast<BOOL>(i) + 5;
  EXPECT_EQ(flags.Get()[0], 5);
  EXPECT_EQ(flags.Get()[2], 7);
  EXPECT_EQ(array[1], 6);
}

TEST(BoundedArray, ThrowsBeyondItsCount) {
  const GuardedBuffer<BOOL> flags{2};
  const BoundedArray<BOOL> array{flags.Get(), 2};
  for (const std::uint64_t index :
       {std::uint64_t{2}, std::uint64_t{3}, std::uint64_t{0x100000000}, ~std::uint64_t{0}}) {
    try {
      array[index] = 1;
      ADD_FAILURE() << "nothing was thrown for " << index;
    } catch (const std::out_of_range& error) {
      EXPECT_STREQ(error.what(), "Array index out of range");
    }
  }
}

TEST(BoundedArray, OfNothingHasNoElement) {
  const BoundedArray<const GUID> array{nullptr, 0};
  EXPECT_THROW(static_cast<void>(array[0]), std::out_of_range);
}

TEST(BoundedArray, CountsIn64Bits) {
  const BoundedArray<const GUID> array{nullptr, 0x100000001};
  static_assert(std::is_same_v<decltype(array.Count()), std::uint64_t>);
  EXPECT_EQ(array.Count(), 0x100000001u);
}

TEST(GuidToString, ReturnsTheBracedUpperCaseText) {
  EXPECT_EQ(GuidToString(Guid("{0a1b2c3d-4e5f-4071-8293-a4b5c6d7e8f9}")),
            L"{0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9}");
  EXPECT_EQ(GuidToString(GUID{}), L"{00000000-0000-0000-0000-000000000000}");
}

TEST(GuidToString, PassesAZeroedBufferOf50Units) {
  const GUID vendor = Guid(kVendor);
  KUV_IMPORT_HOOK(convert, StringFromGUID2);
  convert.Answer([&](const GUID& guid, wchar_t* text, int size) {
    EXPECT_EQ(guid, vendor);
    EXPECT_EQ(size, 50);
    EXPECT_TRUE(std::all_of(text, text + 50, [](wchar_t unit) { return unit == L'\0'; }));
    text[0] = L'x';
    text[1] = L'y';
    return 3;
  });
  EXPECT_EQ(GuidToString(vendor), L"xy");
}

TEST(GuidToString, IsEmptyIfThePlatformFails) {
  KUV_IMPORT_HOOK(convert, StringFromGUID2);
  convert.Answer([](const GUID&, wchar_t*, int) { return 0; });
  EXPECT_EQ(GuidToString(GUID{}), L"");
}

}  // namespace
