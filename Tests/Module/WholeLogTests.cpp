// The entire log of runs of the DLL, as it is in the file.
#include <memory>
#include <ostream>

#include <gtest/gtest.h>

#include "Module/LoggedModule.h"
#include "Support/ImportHook.h"
#include "Support/Providers.h"
#include "Support/RegistrySandbox.h"

namespace {

using namespace KuvTest;
using Lines = std::vector<std::string>;

constexpr char kWhitelisted[] = "{D6886603-9D2F-4EB2-B667-1971041FA96B}";

Lines operator+(Lines left, const Lines& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

// One line for each provider.
Lines ForEach(const Names& providers, const char* start, const char* end = "") {
  Lines lines;
  for (const std::string& provider : providers) lines.push_back(start + provider + end);
  return lines;
}

Lines Scanning(const Names& providers) {
  return Lines{"Trace: Entering CKuvCredFilter::Filter"} +
         ForEach(providers, "Debug: Filter scanning provider ");
}

Lines Enabled(const Names& providers) {
  return ForEach(providers, "Debug: Provider ", " is ENABLED.");
}

Lines Disabled(const Names& providers) {
  return ForEach(providers, "Debug: Provider ", " is DISABLED.");
}

// The allowed list with the settings of `WholeLog::Configure`.
const Lines kAllowedList = ForEach({kWhitelisted, kKuv}, "Debug: Whitelisted provider ");

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

// Returns the lines of a log at Trace that pass a level. "Notice" represents the line that the setting
// causes.
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

// A filter whose log level is set, in a local session. The log starts after that.
class WholeLog : public ::testing::TestWithParam<Verbosity> {
 protected:
  void Configure() const {
    registry_.Local().SetText(L"Host", L"Auth.Example:8443");
    registry_.Local().SetText(L"IKey", L"client-7");
    registry_.Local().SetText(L"SKey", L"a secret");
    registry_.Local().SetTexts(L"ProvidersWhitelist", {Wide(kWhitelisted)});
  }

  void Start() {
    if (GetParam().debug != 0) registry_.Local().SetDword(L"Debug", GetParam().debug);
    dll_.CreateFilter()->Release();
    filter_ = dll_.CreateFilter();
    metrics_ = std::make_unique<ImportHook<decltype(&::GetSystemMetrics)>>(dll_.Get(), "GetSystemMetrics");
    metrics_->Answer([](int) { return 0; });
    dll_.NewLogLines();
  }

  HRESULT Filter(std::uint32_t scenario, DWORD flags, const Names& texts) {
    std::vector<GUID> providers = Guids(texts);
    std::vector<BOOL> allow(providers.size(), TRUE);
    return filter_->Filter(static_cast<CREDENTIAL_PROVIDER_USAGE_SCENARIO>(scenario), flags, providers.data(),
                           allow.data(), static_cast<DWORD>(providers.size()));
  }

  HRESULT Redirect(const char* provider) {
    BYTE bytes[] = {1, 2, 3};
    const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION in{7, Guid(provider), sizeof(bytes), bytes};
    CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION out{};
    const HRESULT result = filter_->UpdateRemoteCredential(&in, &out);
    ::CoTaskMemFree(out.rgbSerialization);
    return result;
  }

  void ExpectLog(const Lines& linesAtTrace) { EXPECT_EQ(dll_.NewLogLines(), At(GetParam(), linesAtTrace)); }

  ~WholeLog() override {
    if (filter_ != nullptr) filter_->Release();
  }

  // The lines of the first load with the settings of `Configure`.
  const Lines loadLines_{
      "Notice",
      "Info: Host: auth.example:8443",
      "Info: IKey: client-7",
      "Info: Found whitelist registry key, replacing default whitelisted providers.",
      std::string{"Info: Adding provider "} + kWhitelisted + " to the WhiteList",
  };

  RegistrySandbox registry_;
  LoggedModule dll_;
  std::unique_ptr<ImportHook<decltype(&::GetSystemMetrics)>> metrics_;
  ICredentialProviderFilter* filter_ = nullptr;
};

INSTANTIATE_TEST_SUITE_P(Level, WholeLog, ::testing::Values(kInfo, kDebug, kTrace),
                         [](const auto& row) { return row.param.name; });

TEST_P(WholeLog, OfASupportedLogon) {
  Configure();
  Start();
  EXPECT_EQ(Filter(CPUS_LOGON, 0, {kPassword, kWhitelisted, kKuv}), S_OK);
  ExpectLog(Scanning({kPassword, kWhitelisted, kKuv}) + loadLines_ + kAllowedList +
            Lines{
                "Debug: Filter usage scenario 1/CPUS_LOGON, flags=0x00000000",
                "Info: Local login session",
                "Info: Usage scenario 1/CPUS_LOGON supported",
                "Info: Enabling Kuv and whitelisted Credential Providers",
            } +
            Disabled({kPassword}) + Enabled({kWhitelisted, kKuv}));
}

TEST_P(WholeLog, OfASecondDecisionLoadsNothing) {
  Configure();
  registry_.Policy().SetDword(L"RdpOnly", 1);
  Start();
  Filter(CPUS_LOGON, 0, {kKuv});
  dll_.NewLogLines();
  EXPECT_EQ(Filter(CPUS_UNLOCK_WORKSTATION, 0, {kKuv}), S_OK);
  Lines expected = Scanning({kKuv}) + kAllowedList +
                   Lines{
                       "Debug: Filter usage scenario 2/CPUS_UNLOCK_WORKSTATION, flags=0x00000000",
                       "Info: Local login session",
                       "Info: Kuv is configured for RDP only login",
                       "Info: Disabling Kuv Credential Provider",
                   } +
                   Disabled({kKuv});
  // The report requires Debug, including its warning.
  if (GetParam().debug != 0) expected.emplace_back("Warning: No providers enabled!");
  ExpectLog(expected);
}

TEST_P(WholeLog, OfAnUnsupportedElevationPrompt) {
  Configure();
  registry_.Local().SetDword(L"ElevationProtectionMode", 1);
  Start();
  EXPECT_EQ(Filter(CPUS_CREDUI, 0x1, {kKuvSmartCard, kPassword}), S_OK);
  ExpectLog(Scanning({kKuvSmartCard}) + loadLines_ + kAllowedList +
            Lines{
                "Debug: Filter usage scenario 4/CPUS_CREDUI, flags=0x00000001",
                "Debug: UAC elevation does not support usage scenario CPUS_CREDUI with flags 0x00000001",
                "Info: Disabling Kuv Credential Provider",
            } +
            Disabled({kKuvSmartCard}) + Enabled({kPassword}));
}

TEST_P(WholeLog, OfPreLogonAccess) {
  Configure();
  Start();
  EXPECT_EQ(Filter(CPUS_PLAP, 0, {kKuv, kPassword}), S_OK);
  ExpectLog(Scanning({kKuv}) + loadLines_ + kAllowedList +
            Lines{
                "Debug: Filter usage scenario 5/CPUS_PLAP, flags=0x00000000",
                "Debug: Usage scenario 5/CPUS_PLAP not supported",
                "Info: Disabling Kuv Credential Provider",
            } +
            Disabled({kKuv}) + Enabled({kPassword}));
}

TEST_P(WholeLog, OfInvalidArguments) {
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
  EXPECT_EQ(Filter(CPUS_LOGON, 0, {kPassword, kKuv}), S_OK);
  ExpectLog(
      Scanning({kPassword, kKuv}) +
      Lines{
          "Notice",
          "Info: Host: auth.example",
          "Error: Kuv WinLogon MFA not configured properly. Please check 'Host', 'IKey' and 'SKey' settings.",
          "Error: Filter encountered an exception. 'Filter unable to load Kuv configuration",
          "Info: Disabling Kuv Credential Provider",
      } +
      Enabled({kPassword}) + Disabled({kKuv}));
}

TEST_P(WholeLog, OfAMachineWithoutKuvProviders) {
  Start();
  EXPECT_EQ(Filter(CPUS_LOGON, 0, {kPassword, kWhitelisted}), S_OK);
  ExpectLog(Scanning({kPassword, kWhitelisted}) +
            Lines{"Error: Kuv Credential Provider not found. Filter permitting all."} +
            Enabled({kPassword, kWhitelisted}));
}

// The first lines of the update of a credential.
Lines Credential(const char* provider) {
  return Lines{"Trace: Entering CKuvCredFilter::UpdateRemoteCredential"} +
         ForEach({provider},
                 "Debug: CKuvCredFilter::UpdateRemoteCredential ulAuthenticationPackage 7 guidString ",
                 " cbSerialization 3");
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
  EXPECT_EQ(Redirect(kPassword), E_NOTIMPL);
  ExpectLog(
      Credential(kPassword) +
      Lines{
          "Notice",
          "Error: Kuv WinLogon MFA not configured properly. Please check 'Host', 'IKey' and 'SKey' settings.",
          "Debug: CKuvCredFilter::UpdateRemoteCredential Exit NOTIMPL: Filter unable to load Kuv "
          "configuration",
      });
}

TEST_P(WholeLog, OfARemoteCredentialOfAnAllowedProvider) {
  Configure();
  Start();
  EXPECT_EQ(Redirect(kWhitelisted), E_NOTIMPL);
  ExpectLog(
      Credential(kWhitelisted) + loadLines_ +
      Lines{"Debug: CKuvCredFilter::UpdateRemoteCredential Exit NOTIMPL: Ignore whitelisted providers."});
}

TEST_P(WholeLog, OfRedirectedRemoteCredentials) {
  Configure();
  Start();
  EXPECT_EQ(Redirect(kPassword), S_OK);
  EXPECT_EQ(Redirect(kSmartCard), S_OK);
  EXPECT_EQ(Redirect(kV1SmartCard), S_OK);
  ExpectLog(Credential(kPassword) + loadLines_ + Credential(kSmartCard) + Credential(kV1SmartCard));
}

TEST_P(WholeLog, OfARemoteCredentialWithoutMemory) {
  Configure();
  Start();
  {
    ImportHook<decltype(&::CoTaskMemAlloc)> memory{dll_.Get(), "CoTaskMemAlloc"};
    memory.Answer([](SIZE_T) { return static_cast<void*>(nullptr); });
    EXPECT_EQ(Redirect(kPassword), E_OUTOFMEMORY);
  }
  ExpectLog(Credential(kPassword) + loadLines_ +
            Lines{"Error: CKuvCredFilter::UpdateRemoteCredential Exit OUTOFMEMORY"});
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

TEST_P(WholeLog, OfAnUnknownClass) {
  Configure();
  Start();
  void* object = nullptr;
  EXPECT_EQ(dll_.GetClassObject(kKuvProvider, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
  ExpectLog({
      "Trace: Filter DllGetClassObject (count 1)",
      "Trace: Entering CClassFactory_CreateInstance",
      "Notice",
      "Trace: Exiting CClassFactory_CreateInstance {hr: 0x80040111}",
  });
}

TEST_P(WholeLog, OfUnloading) {
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

// From the first request on, with the setting present from the start.
TEST(WholeLogFromTheStart, BeginsWithTheFirstConfigurationLoad) {
  const RegistrySandbox registry;
  registry.Local().SetDword(L"Debug", 2);
  LoggedModule dll;
  ICredentialProviderFilter* const filter = dll.CreateFilter();
  GUID provider = kKuvProvider;
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

TEST(WholeLogFromTheStart, IsEmptyAtInfoUntilTheFirstDecision) {
  const RegistrySandbox registry;
  LoggedModule dll;
  dll.CreateFilter()->Release();
  EXPECT_EQ(dll.CanUnloadNow(), S_OK);
  EXPECT_EQ(dll.NewLogLines(), Lines{});
  EXPECT_TRUE(dll.HasLog());
}

}  // namespace
