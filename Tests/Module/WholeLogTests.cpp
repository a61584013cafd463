// The entire log of runs of the DLL, as its reader finds it in the file.
#include <ostream>

#include <gtest/gtest.h>

#include "KuvCredFilter/Identifiers.h"
#include "Module/LoadedFilter.h"
#include "Support/RegistrySandbox.h"

namespace {

using KuvTest::LoadedFilter;
using KuvTest::RegistrySandbox;
using Lines = std::vector<std::string>;

const GUID kPasswordProvider = {0x60B78E88, 0xEAD8, 0x445C, {0x9C, 0xFD, 0x0B, 0x87, 0xF7, 0x4E, 0xA6, 0xCD}};
const GUID kWhitelistedProvider = {
    0xD6886603, 0x9D2F, 0x4EB2, {0xB6, 0x67, 0x19, 0x71, 0x04, 0x1F, 0xA9, 0x6B}};

constexpr char kPasswordText[] = "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}";
constexpr char kWhitelistedText[] = "{D6886603-9D2F-4EB2-B667-1971041FA96B}";
constexpr char kKuvText[] = "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}";
constexpr char kKuvSmartCardText[] = "{C27D40E9-16B3-4A8E-B7F2-094E6D1A35C8}";
constexpr char kSmartCardText[] = "{8FD7E19C-3BF7-489B-A72C-846AB3678C96}";
constexpr char kV1SmartCardText[] = "{8BF9A910-A8FF-457F-999F-A5CA10B4A885}";

struct Verbosity {
  const char* name;
  std::uint32_t debug;  // the setting
  const char* notice;   // the line that the setting causes wherever it is applied
};

void PrintTo(const Verbosity& verbosity, std::ostream* out) {
  *out << verbosity.name;
}

constexpr Verbosity kInfo{"Info", 0, nullptr};
constexpr Verbosity kDebug{"Debug", 1, "Info: Debug logging level enabled"};
constexpr Verbosity kTrace{"Trace", 2, "Info: Trace logging level enabled"};

// What of a log at Trace stays at a level. "Notice" stands for the line that the setting causes.
Lines At(const Verbosity& verbosity, const Lines& lines) {
  Lines kept;
  for (const std::string& line : lines) {
    if (line == "Notice") {
      if (verbosity.notice != nullptr) kept.emplace_back(verbosity.notice);
    } else if (line.starts_with("Trace: ") ? verbosity.debug >= 2
                                           : !line.starts_with("Debug: ") || verbosity.debug >= 1) {
      kept.push_back(line);
    }
  }
  return kept;
}

// A filter whose log has taken its level already, in a local session. The log starts behind that.
class WholeLog : public ::testing::TestWithParam<Verbosity> {
 protected:
  void Configure() const {
    registry_.Local().SetText(L"Host", L"Auth.Example:8443");
    registry_.Local().SetText(L"IKey", L"client-7");
    registry_.Local().SetText(L"SKey", L"a secret");
    registry_.Local().SetTexts(L"ProvidersWhitelist", {L"{D6886603-9D2F-4EB2-B667-1971041FA96B}"});
  }

  void Start() {
    if (GetParam().debug != 0) registry_.Local().SetDword(L"Debug", GetParam().debug);
    dll_.CreateFilter()->Release();
    filter_ = dll_.CreateFilter();
    metrics_ = std::make_unique<KuvTest::ImportHook<decltype(&::GetSystemMetrics)>>(dll_.Module(),
                                                                                    "GetSystemMetrics");
    metrics_->Answer([](int) { return 0; });
    dll_.NewLogLines();
  }

  HRESULT Filter(std::uint32_t scenario, DWORD flags, std::vector<GUID> providers) {
    std::vector<BOOL> allow(providers.size(), TRUE);
    return filter_->Filter(static_cast<CREDENTIAL_PROVIDER_USAGE_SCENARIO>(scenario), flags, providers.data(),
                           allow.data(), static_cast<DWORD>(providers.size()));
  }

  HRESULT Redirect(const GUID& provider) {
    BYTE bytes[] = {1, 2, 3};
    const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION in{7, provider, sizeof(bytes), bytes};
    CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION out{};
    const HRESULT result = filter_->UpdateRemoteCredential(&in, &out);
    ::CoTaskMemFree(out.rgbSerialization);
    return result;
  }

  void ExpectLog(const Lines& linesAtTrace) { EXPECT_EQ(dll_.NewLogLines(), At(GetParam(), linesAtTrace)); }

  ~WholeLog() override {
    if (filter_ != nullptr) filter_->Release();
  }

  // Of a first load, with the settings of `Configure`.
  const Lines loadLines_{
      "Notice",
      "Info: Host: auth.example:8443",
      "Info: IKey: client-7",
      "Info: Found whitelist registry key, replacing default whitelisted providers.",
      std::string{"Info: Adding provider "} + kWhitelistedText + " to the WhiteList",
  };

  Lines After(Lines first, const Lines& second, const Lines& third = {}) const {
    first.insert(first.end(), second.begin(), second.end());
    first.insert(first.end(), third.begin(), third.end());
    return first;
  }

  RegistrySandbox registry_;
  LoadedFilter dll_;
  std::unique_ptr<KuvTest::ImportHook<decltype(&::GetSystemMetrics)>> metrics_;
  ICredentialProviderFilter* filter_ = nullptr;
};

INSTANTIATE_TEST_SUITE_P(Level, WholeLog, ::testing::Values(kInfo, kDebug, kTrace),
                         [](const auto& row) { return row.param.name; });

std::string Line(const char* start, const char* provider, const char* end = "") {
  return std::string{start} + provider + end;
}

TEST_P(WholeLog, OfASupportedLogon) {
  Configure();
  Start();
  EXPECT_EQ(Filter(CPUS_LOGON, 0, {kPasswordProvider, kWhitelistedProvider, CLSID_KuvCredProv}), S_OK);
  ExpectLog(After(
      {
          "Trace: Entering CKuvCredFilter::Filter",
          Line("Debug: Filter scanning provider ", kPasswordText),
          Line("Debug: Filter scanning provider ", kWhitelistedText),
          Line("Debug: Filter scanning provider ", kKuvText),
      },
      loadLines_,
      {
          Line("Debug: Whitelisted provider ", kWhitelistedText),
          Line("Debug: Whitelisted provider ", kKuvText),
          "Debug: Filter usage scenario 1/CPUS_LOGON, flags=0x00000000",
          "Info: Local login session",
          "Info: Usage scenario 1/CPUS_LOGON supported",
          "Info: Enabling Kuv and whitelisted Credential Providers",
          Line("Debug: Provider ", kPasswordText, " is DISABLED."),
          Line("Debug: Provider ", kWhitelistedText, " is ENABLED."),
          Line("Debug: Provider ", kKuvText, " is ENABLED."),
      }));
}

TEST_P(WholeLog, OfASecondDecisionLoadsNothing) {
  Configure();
  registry_.Policy().SetDword(L"RdpOnly", 1);
  Start();
  Filter(CPUS_LOGON, 0, {CLSID_KuvCredProv});
  dll_.NewLogLines();
  EXPECT_EQ(Filter(CPUS_UNLOCK_WORKSTATION, 0, {CLSID_KuvCredProv}), S_OK);
  Lines expected{
      "Trace: Entering CKuvCredFilter::Filter",
      Line("Debug: Filter scanning provider ", kKuvText),
      Line("Debug: Whitelisted provider ", kWhitelistedText),
      Line("Debug: Whitelisted provider ", kKuvText),
      "Debug: Filter usage scenario 2/CPUS_UNLOCK_WORKSTATION, flags=0x00000000",
      "Info: Local login session",
      "Info: Kuv is configured for RDP only login",
      "Info: Disabling Kuv Credential Provider",
      Line("Debug: Provider ", kKuvText, " is DISABLED."),
  };
  // The whole report is for Debug, its warning too.
  if (GetParam().debug != 0) expected.emplace_back("Warning: No providers enabled!");
  ExpectLog(expected);
}

TEST_P(WholeLog, OfAnUnsupportedElevationPrompt) {
  Configure();
  registry_.Local().SetDword(L"ElevationProtectionMode", 1);
  Start();
  EXPECT_EQ(Filter(CPUS_CREDUI, 0x1, {CLSID_KuvSmartCardCredProv, kPasswordProvider}), S_OK);
  ExpectLog(After(
      {
          "Trace: Entering CKuvCredFilter::Filter",
          Line("Debug: Filter scanning provider ", kKuvSmartCardText),
      },
      loadLines_,
      {
          Line("Debug: Whitelisted provider ", kWhitelistedText),
          Line("Debug: Whitelisted provider ", kKuvText),
          "Debug: Filter usage scenario 4/CPUS_CREDUI, flags=0x00000001",
          "Debug: UAC elevation does not support usage scenario CPUS_CREDUI with flags 0x00000001",
          "Info: Disabling Kuv Credential Provider",
          Line("Debug: Provider ", kKuvSmartCardText, " is DISABLED."),
          Line("Debug: Provider ", kPasswordText, " is ENABLED."),
      }));
}

TEST_P(WholeLog, OfPlap) {
  Configure();
  Start();
  EXPECT_EQ(Filter(CPUS_PLAP, 0, {CLSID_KuvCredProv, kPasswordProvider}), S_OK);
  ExpectLog(After(
      {
          "Trace: Entering CKuvCredFilter::Filter",
          Line("Debug: Filter scanning provider ", kKuvText),
      },
      loadLines_,
      {
          Line("Debug: Whitelisted provider ", kWhitelistedText),
          Line("Debug: Whitelisted provider ", kKuvText),
          "Debug: Filter usage scenario 5/CPUS_PLAP, flags=0x00000000",
          "Debug: Usage scenario 5/CPUS_PLAP not supported",
          "Info: Disabling Kuv Credential Provider",
          Line("Debug: Provider ", kKuvText, " is DISABLED."),
          Line("Debug: Provider ", kPasswordText, " is ENABLED."),
      }));
}

TEST_P(WholeLog, OfWrongArguments) {
  Configure();
  Start();
  EXPECT_EQ(filter_->Filter(CPUS_LOGON, 0, nullptr, nullptr, 0), E_INVALIDARG);
  ExpectLog({
      "Trace: Entering CKuvCredFilter::Filter",
      "Info: Filter exiting due to invalid param clsidProviders 1/bAllow 1/provider count 0",
  });
}

TEST_P(WholeLog, OfAnUnconfiguredMachine) {
  registry_.Local().SetText(L"Host", L"auth.example");
  Start();
  EXPECT_EQ(Filter(CPUS_LOGON, 0, {kPasswordProvider, CLSID_KuvCredProv}), S_OK);
  ExpectLog({
      "Trace: Entering CKuvCredFilter::Filter",
      Line("Debug: Filter scanning provider ", kPasswordText),
      Line("Debug: Filter scanning provider ", kKuvText),
      "Notice",
      "Info: Host: auth.example",
      "Error: Kuv WinLogon MFA not configured properly. Please check 'Host', 'IKey' and 'SKey' settings.",
      "Error: Filter encountered an exception. 'Filter unable to load Kuv configuration",
      "Info: Disabling Kuv Credential Provider",
      Line("Debug: Provider ", kPasswordText, " is ENABLED."),
      Line("Debug: Provider ", kKuvText, " is DISABLED."),
  });
}

TEST_P(WholeLog, OfAMachineWithoutKuvProviders) {
  Start();
  EXPECT_EQ(Filter(CPUS_LOGON, 0, {kPasswordProvider, kWhitelistedProvider}), S_OK);
  ExpectLog({
      "Trace: Entering CKuvCredFilter::Filter",
      Line("Debug: Filter scanning provider ", kPasswordText),
      Line("Debug: Filter scanning provider ", kWhitelistedText),
      "Error: Kuv Credential Provider not found. Filter permitting all.",
      Line("Debug: Provider ", kPasswordText, " is ENABLED."),
      Line("Debug: Provider ", kWhitelistedText, " is ENABLED."),
  });
}

std::string CredentialLine(const char* provider) {
  return std::string{"Debug: CKuvCredFilter::UpdateRemoteCredential ulAuthenticationPackage 7 guidString "} +
         provider + " cbSerialization 3";
}

TEST_P(WholeLog, OfARemoteCredentialWithoutBytes) {
  Configure();
  Start();
  EXPECT_EQ(filter_->UpdateRemoteCredential(nullptr, nullptr), E_NOTIMPL);
  ExpectLog({
      "Trace: Entering CKuvCredFilter::UpdateRemoteCredential",
      "Debug: CKuvCredFilter::UpdateRemoteCredential Exit NOTIMPL: invalid params",
  });
}

TEST_P(WholeLog, OfARemoteCredentialOnAnUnconfiguredMachine) {
  registry_.Local().Create();
  Start();
  EXPECT_EQ(Redirect(kPasswordProvider), E_NOTIMPL);
  ExpectLog({
      "Trace: Entering CKuvCredFilter::UpdateRemoteCredential",
      CredentialLine(kPasswordText),
      "Notice",
      "Error: Kuv WinLogon MFA not configured properly. Please check 'Host', 'IKey' and 'SKey' settings.",
      "Debug: CKuvCredFilter::UpdateRemoteCredential Exit NOTIMPL: Filter unable to load Kuv configuration",
  });
}

TEST_P(WholeLog, OfARemoteCredentialOfAnAllowedProvider) {
  Configure();
  Start();
  EXPECT_EQ(Redirect(kWhitelistedProvider), E_NOTIMPL);
  ExpectLog(After(
      {
          "Trace: Entering CKuvCredFilter::UpdateRemoteCredential",
          CredentialLine(kWhitelistedText),
      },
      loadLines_,
      {"Debug: CKuvCredFilter::UpdateRemoteCredential Exit NOTIMPL: Ignore whitelisted providers."}));
}

TEST_P(WholeLog, OfRemoteCredentialsThatAreRedirected) {
  Configure();
  Start();
  EXPECT_EQ(Redirect(kPasswordProvider), S_OK);
  EXPECT_EQ(Redirect(CLSID_SmartcardCredentialProvider), S_OK);
  EXPECT_EQ(Redirect(CLSID_V1SmartcardCredentialProvider), S_OK);
  ExpectLog(After(
      {
          "Trace: Entering CKuvCredFilter::UpdateRemoteCredential",
          CredentialLine(kPasswordText),
      },
      loadLines_,
      {
          "Trace: Entering CKuvCredFilter::UpdateRemoteCredential",
          CredentialLine(kSmartCardText),
          "Trace: Entering CKuvCredFilter::UpdateRemoteCredential",
          CredentialLine(kV1SmartCardText),
      }));
}

TEST_P(WholeLog, OfARemoteCredentialWithoutMemory) {
  Configure();
  Start();
  {
    KuvTest::ImportHook<decltype(&::CoTaskMemAlloc)> memory{dll_.Module(), "CoTaskMemAlloc"};
    memory.Answer([](SIZE_T) { return static_cast<void*>(nullptr); });
    EXPECT_EQ(Redirect(kPasswordProvider), E_OUTOFMEMORY);
  }
  ExpectLog(After(
      {
          "Trace: Entering CKuvCredFilter::UpdateRemoteCredential",
          CredentialLine(kPasswordText),
      },
      loadLines_, {"Error: CKuvCredFilter::UpdateRemoteCredential Exit OUTOFMEMORY"}));
}

TEST_P(WholeLog, OfAnotherClassObjectRequest) {
  Configure();
  Start();
  dll_.CreateFilter()->Release();
  ExpectLog({
      "Trace: Filter DllGetClassObject (count 1)",
      "Trace: Entering CClassFactory_CreateInstance",
      "Notice",
      "Trace: CClassFactory::CClassFactory object %p created",
      "Trace: Filter CClassFactory::QueryInterface %p (1)",
      "Trace: Exiting CClassFactory_CreateInstance {hr: 0x00000000}",
      "Trace: Entering CKuvCredFilter_CreateInstance",
      "Trace: CKuvCredFilter::CKuvCredFilter object %p created",
      "Trace: Filter DllAddRef (count 2)",
      "Trace: Exiting CKuvCredFilter_CreateInstance {hr: 0x00000000}",
      "Trace: CClassFactory::~CClassFactory object %p destroyed",
      "Trace: CKuvCredFilter::~CKuvCredFilter object %p destroyed",
      "Trace: Filter DllRelease (count 1)",
  });
}

TEST_P(WholeLog, OfAClassThatIsNotOurs) {
  Configure();
  Start();
  void* object = nullptr;
  EXPECT_EQ(dll_.GetClassObject(CLSID_KuvCredProv, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
  ExpectLog({
      "Trace: Filter DllGetClassObject (count 1)",
      "Trace: Entering CClassFactory_CreateInstance",
      "Notice",
      "Trace: Exiting CClassFactory_CreateInstance {hr: 0x80040111}",
  });
}

TEST_P(WholeLog, OfTheUnloading) {
  Configure();
  Start();
  filter_->Release();
  filter_ = nullptr;
  EXPECT_EQ(dll_.CanUnloadNow(), S_OK);
  metrics_.reset();
  EXPECT_TRUE(dll_.Unload());
  ExpectLog({
      "Trace: CKuvCredFilter::~CKuvCredFilter object %p destroyed",
      "Trace: Filter DllRelease (count 0)",
      "Trace: Filter DllCanUnloadNow (count 0)",
  });
}

// From the first request on, with the setting there all the time.
TEST(WholeLogFromTheStart, BeginsWithTheFirstConfigurationLoad) {
  const RegistrySandbox registry;
  registry.Local().SetDword(L"Debug", 2);
  LoadedFilter dll;
  ICredentialProviderFilter* const filter = dll.CreateFilter();
  GUID provider = CLSID_KuvCredProv;
  BOOL allow = TRUE;
  EXPECT_EQ(filter->Filter(CPUS_INVALID, 0, &provider, &allow, 1), S_OK);
  filter->Release();
  EXPECT_TRUE(dll.Unload());
  EXPECT_EQ(
      dll.NewLogLines(),
      (Lines{
          "Info: Trace logging level enabled",
          "Error: Kuv WinLogon MFA not configured properly. Please check 'Host', 'IKey' and 'SKey' settings.",
          "Error: Filter encountered an exception. 'Filter unable to load Kuv configuration",
          "Info: Disabling Kuv Credential Provider",
          "Debug: Provider {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418} is DISABLED.",
          "Warning: No providers enabled!",
          "Trace: CKuvCredFilter::~CKuvCredFilter object %p destroyed",
          "Trace: Filter DllRelease (count 0)",
      }));
}

TEST(WholeLogFromTheStart, IsEmptyWithoutTheSettingUntilSomethingHappens) {
  const RegistrySandbox registry;
  LoadedFilter dll;
  dll.CreateFilter()->Release();
  EXPECT_EQ(dll.CanUnloadNow(), S_OK);
  EXPECT_EQ(dll.NewLogLines(), Lines{});
  EXPECT_NE(::GetFileAttributesW(dll.LogPath().c_str()), INVALID_FILE_ATTRIBUTES);
}

}  // namespace
