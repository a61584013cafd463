#include "Anomaly/Host.h"

#include <objbase.h>

#include <algorithm>
#include <filesystem>
#include <new>
#include <span>

#include <gtest/gtest.h>

#include "Support/Holdings.h"
#include "Support/Providers.h"

namespace KuvTest {

namespace {

// The steps that may end with `std::bad_alloc`: a step that creates an object reports exhausted memory by
// this exception only. Every other step returns a result.
constexpr const char* kMayRunOutOfMemory[] = {"factory", "factory for another interface", "filter",
                                              "filter for another interface"};

const std::vector<GUID> kProviders = {kPasswordProvider, kKuvProvider, kVendorProvider, kKuvSmartCardProvider,
                                      kSmartCardProvider};
const std::vector<BOOL> kBefore = {0, 1, 7, -1, 0};
const std::vector<BOOL> kOnlyAllowed = {0, 1, 1, 0, 1};
const std::vector<BOOL> kWithoutKuv = {1, 0, 1, 0, 1};

struct Decision {
  const char* name;
  std::uint32_t scenario;
  DWORD flags;
  DWORD mode;     // ElevationProtectionMode
  DWORD rdpOnly;  // RdpOnly
  int metric;     // SM_REMOTESESSION
  bool otherSession;
  const std::vector<BOOL>& normally;
};

const Decision kDecisions[] = {
    {"protected logon", 1, 0, 2, 0, 0, false, kOnlyAllowed},
    {"unprotected logon", 1, 0, 1, 0, 0, false, kBefore},
    {"local unlock under RdpOnly", 2, 0, 0, 1, 0, false, kWithoutKuv},
    {"remote change of password under RdpOnly", 3, 0, 2, 1, 1, false, kOnlyAllowed},
    {"logon in another session under RdpOnly", 1, 0, 0, 1, 0, true, kOnlyAllowed},
    {"protected elevation", 4, 0x100, 1, 1, 0, false, kOnlyAllowed},
    {"credential prompt", 4, 0, 2, 0, 0, false, kWithoutKuv},
    {"unprotected elevation", 4, 0x100, 0, 0, 0, false, kWithoutKuv},
    {"no scenario", 0, 0, 2, 0, 0, false, kWithoutKuv},
    {"pre-logon access", 5, 0, 2, 0, 0, false, kWithoutKuv},
    {"unknown scenario", 6, 0, 2, 0, 0, false, kWithoutKuv},
};

struct Credential {
  const char* name;
  GUID provider;
  HRESULT normally;
  GUID target;
};

const Credential kCredentials[] = {
    {"credential for a password", kPasswordProvider, S_OK, kKuvProvider},
    {"credential for a listed smart card", kSmartCardProvider, E_NOTIMPL, {}},
    {"credential for an old smart card", kV1SmartCardProvider, S_OK, kKuvSmartCardProvider},
    {"credential for a whitelisted provider", kVendorProvider, E_NOTIMPL, {}},
};

// Returns what the model expects; fails the test if the DLL made an unexpected call.
template <typename Model>
Expected Compute(Model model) {
  try {
    return model();
  } catch (const WrongCall& call) {
    ADD_FAILURE() << call.what();
    return {};
  }
}

bool IsLogLine(const std::string& line) {
  constexpr char kForm[] = "00/00/00 00:00:00 [";
  if (line.size() < sizeof(kForm)) return false;
  for (std::size_t i = 0; kForm[i] != '\0'; ++i) {
    if (kForm[i] == '0' ? line[i] < '0' || line[i] > '9' : line[i] != kForm[i]) return false;
  }
  const std::size_t level = line.find(") [");
  return level != std::string::npos && line.find("] ", level) != std::string::npos;
}

}  // namespace

Host::Host() {
  PrepareMachine();
  // The platform and the runtime of this program allocate resources at the first debugger text and the first
  // exception, so both happen before anything is counted.
  ::OutputDebugStringW(L"");
  try {
    throw std::bad_alloc{};
  } catch (const std::bad_alloc&) {
  }
  PlayNormally();
  handles_ = CountHandles();
}

Host::~Host() {
  TheMachine() = {};
}

void Host::PrepareMachine() {
  TheMachine().appData = appData_.Path();
  const TestKey local = registry_.Local();
  local.SetText(L"Host", L"Auth.Example:8443");
  local.SetText(L"IKey", L"a client that has a long name");
  local.SetText(L"SKey", L"a secret that is longer than a short text");
  local.SetTexts(L"ProvidersWhitelist", {Wide(kVendor)});
  local.SetDword(L"Debug", 2);
  local.SetDword(L"LogFileMaxSizeMB", 1);
  const TestKey policy = registry_.Policy();
  policy.SetDword(L"EnableSmartCards", 1);
  policy.SetText(L"HttpProxyHost", L"proxy.example");
  policy.SetTexts(L"ProvidersWhitelist", {Wide(kVendor), L"no identifier", Wide(kVendor)});
  policy.SetDword(L"LogFileMaxCount", 2);
}

// Restores the machine to its state before the first run.
void Host::CleanUp() {
  ::RegDeleteTreeW(HKEY_CLASSES_ROOT, Wide(kClassKey).c_str());
  ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, Wide(kFilterKey).c_str());
  std::error_code ignored;
  std::filesystem::remove_all(appData_.Path(L"Kuvant"), ignored);
}

// The fault does not apply to the loader.
void Host::Load() {
  model_ = {};
  module_.emplace();
}

void Host::Unload() {
  Expect("unloading question", S_OK, [this] { return module_->CanUnloadNow(); });
  EXPECT_TRUE(module_->Unload());
  module_.reset();
  EXPECT_EQ(imports_.Outstanding(), "");
  imports_.ForgetOutstanding();
}

// Takes a step. Returns nothing if memory ran out and the step may report that.
std::optional<HRESULT> Host::Ask(const char* step, const Step& call) {
  imports_.TakeAnswers();
  ++steps_;
  try {
    return call();
  } catch (const std::bad_alloc&) {
    const bool may = std::any_of(std::begin(kMayRunOutOfMemory), std::end(kMayRunOutOfMemory),
                                 [=](const char* name) { return std::string{name} == step; });
    EXPECT_TRUE(may && imports_.HasStruck() && fault_.domain == Domain::Memory)
        << step << " ran out of memory";
    return std::nullopt;
  }
}

void Host::Expect(const char* step, HRESULT expected, const Step& call) {
  const std::optional<HRESULT> result = Ask(step, call);
  if (result.has_value()) {
    EXPECT_EQ(*result, expected) << step;
  }
}

IClassFactory* Host::AskFactory() {
  IClassFactory* factory = nullptr;
  Expect("factory", S_OK, [&] {
    return module_->GetClassObject(kFilterClassId, IID_IClassFactory, reinterpret_cast<void**>(&factory));
  });
  void* object = nullptr;
  Expect("factory for another class", CLASS_E_CLASSNOTAVAILABLE,
         [&] { return module_->GetClassObject(kKuvProvider, IID_IClassFactory, &object); });
  Expect("factory for another interface", E_NOINTERFACE,
         [&] { return module_->GetClassObject(kFilterClassId, kFilterInterfaceId, &object); });
  EXPECT_EQ(object, nullptr);
  return factory;
}

ICredentialProviderFilter* Host::AskFilter(IClassFactory* factory) {
  ICredentialProviderFilter* filter = nullptr;
  Expect("filter", S_OK, [&] {
    return factory->CreateInstance(nullptr, kFilterInterfaceId, reinterpret_cast<void**>(&filter));
  });
  return filter;
}

void Host::AskInvalidly(IClassFactory* factory) {
  void* object = nullptr;
  Expect("filter inside another object", CLASS_E_NOAGGREGATION,
         [&] { return factory->CreateInstance(factory, IID_IUnknown, &object); });
  Expect("filter for another interface", E_NOINTERFACE,
         [&] { return factory->CreateInstance(nullptr, IID_IClassFactory, &object); });
  EXPECT_EQ(object, nullptr);
  Expect("lock", S_OK, [&] { return factory->LockServer(TRUE); });
  Expect("unlock", S_OK, [&] { return factory->LockServer(FALSE); });
}

// Writes a number only if it differs: writing is the slow part of a decision.
void Host::Set(const TestKey& key, const wchar_t* name, DWORD value) {
  const auto [entry, isNew] = numbers_.try_emplace(name, value);
  if (!isNew && entry->second == value) return;
  entry->second = value;
  key.SetDword(name, value);
}

void Host::PlayDecisions(ICredentialProviderFilter* filter, std::size_t count) {
  DWORD session = 0;
  ::ProcessIdToSessionId(::GetCurrentProcessId(), &session);
  const TestKey terminalServer{HKEY_LOCAL_MACHINE, Wide(kTerminalServerKey)};
  for (const Decision& decision : std::span{kDecisions}.first(count)) {
    SCOPED_TRACE(decision.name);
    Set(registry_.Policy(), L"ElevationProtectionMode", decision.mode);
    Set(registry_.Local(), L"RdpOnly", decision.rdpOnly);
    Set(terminalServer, L"GlassSessionId", session + (decision.otherSession ? 1 : 0));
    TheMachine().remoteSession = decision.metric;
    std::vector<GUID> providers = kProviders;
    std::vector<BOOL> allow = kBefore;
    const auto result = Ask("decision", [&] {
      return filter->Filter(static_cast<CREDENTIAL_PROVIDER_USAGE_SCENARIO>(decision.scenario),
                            decision.flags, providers.data(), allow.data(),
                            static_cast<DWORD>(providers.size()));
    });
    const bool memoryFailed = imports_.HasStruck() && fault_.domain == Domain::Memory;
    const Expected expected = Compute([&] {
      return model_.Filter(imports_.TakeAnswers(), memoryFailed, decision.scenario, decision.flags,
                           kProviders, kBefore);
    });
    EXPECT_EQ(result, std::optional{S_OK});
    EXPECT_EQ(allow, expected.allow);
    EXPECT_EQ(providers, kProviders);
    if (normal_) {
      EXPECT_EQ(allow, decision.normally);
    }
  }
  std::vector<GUID> others = {kPasswordProvider, kVendorProvider};
  std::vector<BOOL> allow = {0, 7};
  Expect("decision without Kuv providers", S_OK,
         [&] { return filter->Filter(CPUS_LOGON, 0, others.data(), allow.data(), 2); });
  EXPECT_EQ(allow, (std::vector<BOOL>{0, 7}));
  Expect("decision on nothing", E_INVALIDARG,
         [&] { return filter->Filter(CPUS_LOGON, 0, others.data(), allow.data(), 0); });
}

void Host::PlayCredentials(ICredentialProviderFilter* filter) {
  BYTE bytes[] = {1, 2, 3};
  for (const Credential& credential : kCredentials) {
    SCOPED_TRACE(credential.name);
    const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION in{7, credential.provider, sizeof(bytes), bytes};
    CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION out{99, kVendorProvider, 98, nullptr};
    const auto result = Ask("credential", [&] { return filter->UpdateRemoteCredential(&in, &out); });
    const bool memoryFailed = imports_.HasStruck() && fault_.domain == Domain::Memory;
    const Expected expected = Compute([&] {
      return model_.UpdateRemoteCredential(imports_.TakeAnswers(), memoryFailed, credential.provider);
    });
    EXPECT_EQ(result, std::optional{expected.result});
    const bool written = expected.result != E_NOTIMPL;
    EXPECT_TRUE(out.clsidCredentialProvider == (written ? expected.provider : kVendorProvider));
    EXPECT_EQ(out.ulAuthenticationPackage, written ? 7u : 99u);
    EXPECT_EQ(out.cbSerialization, written ? 3u : 98u);
    ASSERT_EQ(out.rgbSerialization != nullptr, expected.result == S_OK);
    if (out.rgbSerialization != nullptr) {
      EXPECT_TRUE(std::equal(bytes, bytes + 3, out.rgbSerialization));
    }
    ::CoTaskMemFree(out.rgbSerialization);
    if (normal_) {
      EXPECT_EQ(expected.result, credential.normally);
      EXPECT_TRUE(expected.provider == credential.target);
    }
  }
  const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION empty{7, kPasswordProvider, 0, bytes};
  CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION out{};
  Expect("empty credential", E_NOTIMPL, [&] { return filter->UpdateRemoteCredential(&empty, &out); });
}

void Host::PlayRegistration() {
  const auto registration = Ask("registration", [this] { return module_->RegisterServer(); });
  const Expected registered = Compute([&] { return model_.Register(imports_.TakeAnswers()); });
  EXPECT_EQ(registration, std::optional{registered.result});
  const auto removal = Ask("removal", [this] { return module_->UnregisterServer(); });
  const bool hindered = imports_.HasStruck() && fault_.domain == Domain::Platform;
  const Expected unregistered = Compute([&] { return model_.Unregister(imports_.TakeAnswers()); });
  EXPECT_EQ(removal, std::optional{unregistered.result});
  if (hindered) return;
  EXPECT_FALSE((TestKey{HKEY_CLASSES_ROOT, Wide(kClassKey)}.Exists()));
  EXPECT_FALSE((TestKey{HKEY_LOCAL_MACHINE, Wide(kFilterKey)}.Exists()));
}

// The first process on a machine: creates the folder and the log file.
void Host::PlayShortCycle() {
  Load();
  if (IClassFactory* const factory = AskFactory()) {
    EXPECT_EQ(factory->Release(), 0u);
  }
  Unload();
}

// A host that retries each failed request once and continues without the object if that fails too.
void Host::PlayLongCycle() {
  TheMachine().logIsFull = true;
  Load();
  IClassFactory* factory = AskFactory();
  if (factory == nullptr) factory = AskFactory();
  if (factory != nullptr) {
    AskInvalidly(factory);
    ICredentialProviderFilter* filter = AskFilter(factory);
    if (filter == nullptr) filter = AskFilter(factory);
    if (filter != nullptr) {
      PlayDecisions(filter, std::size(kDecisions));
      PlayCredentials(filter);
      EXPECT_EQ(filter->Release(), 0u);
    }
  }
  PlayRegistration();
  imports_.Disarm();
  PlayAfterFault(factory);
  if (factory != nullptr) {
    EXPECT_EQ(factory->Release(), 0u);
  }
  // The releases at the end may fail as well.
  imports_.Rearm();
  Unload();
}

// Once the platform works again, the same DLL decides correctly.
void Host::PlayAfterFault(IClassFactory*& factory) {
  if (factory == nullptr) factory = AskFactory();
  ASSERT_NE(factory, nullptr);
  ICredentialProviderFilter* const filter = AskFilter(factory);
  ASSERT_NE(filter, nullptr);
  PlayDecisions(filter, 3);
  EXPECT_EQ(filter->Release(), 0u);
}

void Host::ExpectWellFormedLog() const {
  bool found = false;
  std::error_code none;
  for (const auto& entry : std::filesystem::directory_iterator{appData_.Path(L"Kuvant"), none}) {
    const std::string text = ReadFileBytes(entry.path().wstring());
    std::size_t start = 0;
    for (std::size_t end = 0; (end = text.find("\r\n", start)) != std::string::npos; start = end + 2) {
      const std::string line = text.substr(start, end - start);
      if (!IsLogLine(line)) ADD_FAILURE() << "not a log line: " << line;
      found = found || line.ends_with("[Info] Usage scenario 1/CPUS_LOGON supported");
    }
    EXPECT_EQ(text.substr(start), "") << "incomplete line";
  }
  if (normal_) {
    EXPECT_TRUE(found) << "a decision is not in the log";
  }
}

// Faults in one process do not affect the next one.
void Host::PlayNextCycle() {
  normal_ = true;
  Load();
  IClassFactory* const factory = AskFactory();
  ICredentialProviderFilter* const filter = factory != nullptr ? AskFilter(factory) : nullptr;
  EXPECT_NE(filter, nullptr);
  if (filter != nullptr) {
    PlayDecisions(filter, 1);
    EXPECT_EQ(filter->Release(), 0u);
  }
  if (factory != nullptr) {
    EXPECT_EQ(factory->Release(), 0u);
  }
  Unload();
  normal_ = false;
}

void Host::Play(const Fault& fault) {
  fault_ = fault;
  imports_.Arm(fault);
  PlayShortCycle();
  PlayLongCycle();
  imports_.Disarm();
  TheMachine().logIsFull = false;
  ExpectWellFormedLog();
  if (!normal_) PlayNextCycle();
  if (handles_ != 0) {
    EXPECT_EQ(CountHandles(), handles_);
  }
  CleanUp();
}

void Host::PlayNormally() {
  normal_ = true;
  Play({});
  normal_ = false;
}

}  // namespace KuvTest
