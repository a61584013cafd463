#include <objbase.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <numeric>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "KuvAuth/Support/Text.h"
#include "KuvCredFilter/FilterFixture.h"
#include "Support/GuardedBuffer.h"
#include "Support/MemoryExhaustion.h"

namespace {

using namespace KuvTest;
using enum LogLevel;

using Credential = CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION;

bool Same(const Credential& left, const Credential& right) {
  return left.ulAuthenticationPackage == right.ulAuthenticationPackage &&
         left.clsidCredentialProvider == right.clsidCredentialProvider &&
         left.cbSerialization == right.cbSerialization && left.rgbSerialization == right.rgbSerialization;
}

// A credential of ten bytes that end at a guarded page, and an output with other values.
class RemoteCredential : public FilterFixture {
 protected:
  RemoteCredential() {
    Configure({kVendor});
    for (BYTE i = 0; i < kSize; ++i) bytes.Get()[i] = static_cast<BYTE>(200 + i);
  }
  ~RemoteCredential() override {
    if (out.rgbSerialization != outBytes) ::CoTaskMemFree(out.rgbSerialization);
  }

  HRESULT Update(const char* provider) {
    in.clsidCredentialProvider = Guid(provider);
    const Credential before = in;
    const HRESULT result = filter->UpdateRemoteCredential(&in, &out);
    EXPECT_TRUE(Same(in, before));
    EXPECT_EQ(in.rgbSerialization[0], 200);
    EXPECT_EQ(in.rgbSerialization[kSize - 1], 209);
    return result;
  }

  // A null target: the credential passes.
  void ExpectTarget(const char* provider, const char* target) {
    out = {1, Guid(kOther), 2, outBytes};
    target != nullptr ? ExpectRedirected(provider, target) : ExpectPassed(provider);
  }

  void ExpectPassed(const char* provider) {
    SCOPED_TRACE(provider);
    EXPECT_EQ(static_cast<unsigned>(Update(provider)), 0x80004001u);
    ExpectOutputUntouched();
  }

  void ExpectRedirected(const char* provider, const char* target) {
    SCOPED_TRACE(provider);
    out = {1, Guid(kOther), 2, outBytes};
    EXPECT_EQ(Update(provider), S_OK);
    EXPECT_EQ(out.ulAuthenticationPackage, 0x87654321u);
    EXPECT_EQ(Text(out.clsidCredentialProvider), target);
    EXPECT_EQ(out.cbSerialization, kSize);
    ASSERT_NE(out.rgbSerialization, nullptr);
    ASSERT_NE(out.rgbSerialization, outBytes);
    EXPECT_NE(out.rgbSerialization, in.rgbSerialization);
    EXPECT_EQ(std::memcmp(out.rgbSerialization, bytes.Get(), kSize), 0);
    ::CoTaskMemFree(std::exchange(out.rgbSerialization, outBytes));
  }

  void ExpectOutputUntouched() {
    EXPECT_EQ(out.ulAuthenticationPackage, 1u);
    EXPECT_EQ(Text(out.clsidCredentialProvider), kOther);
    EXPECT_EQ(out.cbSerialization, 2u);
    EXPECT_EQ(out.rgbSerialization, outBytes);
    EXPECT_EQ(outBytes[0], 5);
  }

  static void SetSmartCards(bool enable, bool wrap) {
    GetConfiguration()->EnableSmartCards = enable;
    GetConfiguration()->WrapSmartCards = wrap;
  }

  static constexpr ULONG kSize = 10;
  GuardedBuffer<BYTE> bytes{kSize};
  BYTE outBytes[2] = {5, 6};
  Credential in{0x87654321, Guid(kPassword), kSize, bytes.Get()};
  Credential out{1, Guid(kOther), 2, outBytes};
};

// The line that describes the credential of `RemoteCredential`.
LogLine CredentialLine(const char* provider) {
  return {
      Debug,
      std::string{"CKuvCredFilter::UpdateRemoteCredential ulAuthenticationPackage -2023406815 guidString "} +
          provider + " cbSerialization 10"};
}

const LogLine kEntering = {Trace, "Entering CKuvCredFilter::UpdateRemoteCredential"};

TEST_F(RemoteCredential, GoesToTheKuvProvider) {
  ExpectRedirected(kPassword, kKuv);
  EXPECT_EQ(log.Lines(), (LogLines{kEntering, CredentialLine(kPassword)}));
}

TEST_F(RemoteCredential, GoesToItsTargetUnderAllSmartCardSettings) {
  // The target with smart cards off (also if wrapped), on (Windows 8 or later, before), and wrapped; null:
  // passes.
  struct Row {
    const char* provider;
    const char* off;
    const char* onNew;
    const char* onOld;
    const char* wrapped;
  };
  const Row rows[] = {
      {kPassword, kKuv, kKuv, kKuv, kKuv},
      {kAlmostKuv, kKuv, kKuv, kKuv, kKuv},
      {kFilterClass, kKuv, kKuv, kKuv, kKuv},
      {"{00000000-0000-0000-0000-000000000000}", kKuv, kKuv, kKuv, kKuv},
      {kVendor, nullptr, nullptr, nullptr, nullptr},
      {kKuv, nullptr, nullptr, nullptr, nullptr},
      {kKuvSmartCard, kKuv, kKuv, kKuv, nullptr},
      {kSmartCard, kKuvSmartCard, nullptr, kKuvSmartCard, kKuvSmartCard},
      {kV1SmartCard, kKuvSmartCard, kKuvSmartCard, nullptr, kKuvSmartCard},
  };
  KUV_IMPORT_HOOK(version, VerifyVersionInfoW);
  for (const Row& row : rows) {
    for (const BOOL newer : {TRUE, FALSE}) {
      version.Answer([=](OSVERSIONINFOEXW*, DWORD, DWORDLONG) { return newer; });
      SetSmartCards(false, false);
      ExpectTarget(row.provider, row.off);
      SetSmartCards(false, true);
      ExpectTarget(row.provider, row.off);
      SetSmartCards(true, false);
      ExpectTarget(row.provider, newer ? row.onNew : row.onOld);
      SetSmartCards(true, true);
      ExpectTarget(row.provider, row.wrapped);
    }
  }
}

TEST_F(RemoteCredential, PassesForAWhitelistedProvider) {
  ExpectPassed(kVendor);
  EXPECT_EQ(
      log.Lines(),
      (LogLines{
          kEntering,
          CredentialLine(kVendor),
          {Debug, "CKuvCredFilter::UpdateRemoteCredential Exit NOTIMPL: Ignore whitelisted providers."}}));
}

TEST_F(RemoteCredential, PassesForAWhitelistedSmartCardProvider) {
  GetConfiguration()->ProvidersWhitelist = Guids({kSmartCard, kV1SmartCard});
  ExpectPassed(kSmartCard);
  ExpectPassed(kV1SmartCard);
}

TEST_F(RemoteCredential, PassesWithoutRecordSizeOrBytes) {
  *GetConfiguration() = Configuration{};
  const LogLines expected = {kEntering,
                             {Debug, "CKuvCredFilter::UpdateRemoteCredential Exit NOTIMPL: invalid params"}};
  Credential noSize = in;
  noSize.cbSerialization = 0;
  Credential noBytes = in;
  noBytes.rgbSerialization = nullptr;
  Credential neither = noSize;
  neither.rgbSerialization = nullptr;
  for (const Credential* const bad :
       {static_cast<const Credential*>(nullptr), static_cast<const Credential*>(&noSize),
        static_cast<const Credential*>(&noBytes), static_cast<const Credential*>(&neither)}) {
    log.Clear();
    EXPECT_EQ(filter->UpdateRemoteCredential(bad, &out), E_NOTIMPL);
    ExpectOutputUntouched();
    EXPECT_EQ(log.Lines(), expected);
  }
}

TEST_F(RemoteCredential, NeedsNoOutputRecordToPass) {
  EXPECT_EQ(filter->UpdateRemoteCredential(nullptr, nullptr), E_NOTIMPL);
  in.clsidCredentialProvider = Guid(kKuv);
  EXPECT_EQ(filter->UpdateRemoteCredential(&in, nullptr), E_NOTIMPL);
  *GetConfiguration() = Configuration{};
  EXPECT_EQ(filter->UpdateRemoteCredential(&in, nullptr), E_NOTIMPL);
}

TEST_F(RemoteCredential, PassesIfTheSettingsCannotBeLoaded) {
  *GetConfiguration() = Configuration{};
  for (const char* const provider : {kPassword, kKuv, kSmartCard}) {
    log.Clear();
    ExpectPassed(provider);
    EXPECT_EQ(
        log.Lines(),
        (LogLines{
            kEntering,
            CredentialLine(provider),
            {Error,
             "Kuv WinLogon MFA not configured properly. Please check 'Host', 'IKey' and 'SKey' settings."},
            {Debug,
             "CKuvCredFilter::UpdateRemoteCredential Exit NOTIMPL: Filter unable to load Kuv "
             "configuration"}}));
  }
}

TEST_F(RemoteCredential, PassesAtAnyStandardException) {
  SetSmartCards(true, false);
  KUV_IMPORT_HOOK(version, VerifyVersionInfoW);
  version.Answer([](OSVERSIONINFOEXW*, DWORD, DWORDLONG) -> BOOL { throw std::out_of_range{"example"}; });
  ExpectPassed(kPassword);
  EXPECT_EQ(log.Lines(), (LogLines{kEntering,
                                   CredentialLine(kPassword),
                                   {Debug, "CKuvCredFilter::UpdateRemoteCredential Exit NOTIMPL: example"}}));
}

TEST_F(RemoteCredential, LetsOtherExceptionsThrough) {
  SetSmartCards(true, false);
  KUV_IMPORT_HOOK(version, VerifyVersionInfoW);
  version.Answer([](OSVERSIONINFOEXW*, DWORD, DWORDLONG) -> BOOL { throw 5; });
  EXPECT_THROW(filter->UpdateRemoteCredential(&in, &out), int);
  ExpectOutputUntouched();
}

TEST_F(RemoteCredential, LoadsTheSettingsOnFirstUse) {
  *GetConfiguration() = Configuration{};
  registry.Policy().SetText(L"Host", L"host.example");
  registry.Policy().SetText(L"IKey", L"ikey");
  registry.Policy().SetText(L"SKey", L"skey");
  registry.Policy().SetTexts(L"ProvidersWhitelist", {L"{0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9}"});
  ExpectPassed(kVendor);
  ExpectRedirected(kPassword, kKuv);
}

TEST_F(RemoteCredential, IsNotLoggedIfItsProviderHasNoText) {
  KUV_IMPORT_HOOK(convert, StringFromGUID2);
  for (const int result : {0, -1}) {
    log.Clear();
    convert.Answer([&convert, result](const GUID& guid, wchar_t* text, int size) {
      EXPECT_EQ(size, 50);
      EXPECT_TRUE(std::all_of(text, text + 50, [](wchar_t unit) { return unit == L'\0'; }));
      convert.Original(guid, text, size);
      return result;
    });
    EXPECT_EQ(filter->UpdateRemoteCredential(&in, &out), S_OK);
    EXPECT_EQ(log.Lines(), (LogLines{kEntering}));
    ::CoTaskMemFree(std::exchange(out.rgbSerialization, outBytes));
  }
}

TEST_F(RemoteCredential, IsLoggedAtDebugOnly) {
  log.System().minLevel = Debug;
  ExpectRedirected(kPassword, kKuv);
  EXPECT_EQ(log.Lines(), (LogLines{CredentialLine(kPassword)}));
  log.Clear();
  log.System().minLevel = Info;
  ExpectRedirected(kPassword, kKuv);
  out = {1, Guid(kOther), 2, outBytes};
  ExpectPassed(kKuv);
  EXPECT_EQ(filter->UpdateRemoteCredential(nullptr, &out), E_NOTIMPL);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(RemoteCredential, NeedsNoLog) {
  g_logSystem = nullptr;
  ExpectPassed(kVendor);
  ExpectRedirected(kPassword, kKuv);
}

TEST_F(RemoteCredential, HasNoBytesWithoutMemoryForTheCopy) {
  KUV_IMPORT_HOOK(allocate, CoTaskMemAlloc);
  allocate.Answer([](SIZE_T) { return static_cast<void*>(nullptr); });
  for (const LogLevel level : {Debug, Critical}) {
    out = {1, Guid(kOther), 2, outBytes};
    log.System().minLevel = level;
    EXPECT_EQ(static_cast<unsigned>(Update(kSmartCard)), 0x8007000Eu);
    EXPECT_EQ(Text(out.clsidCredentialProvider), kKuvSmartCard);
    EXPECT_EQ(out.ulAuthenticationPackage, 0x87654321u);
    EXPECT_EQ(out.cbSerialization, 10u);
    EXPECT_EQ(out.rgbSerialization, nullptr);
  }
  EXPECT_EQ(allocate.Calls(), (std::vector<std::tuple<SIZE_T>>{{10}, {10}}));
  EXPECT_EQ(log.Lines(), (LogLines{CredentialLine(kSmartCard),
                                   {Error, "CKuvCredFilter::UpdateRemoteCredential Exit OUTOFMEMORY"}}));
}

TEST_F(RemoteCredential, IsCopiedExactly) {
  const GuardedBuffer<BYTE> block{kSize};
  KUV_IMPORT_HOOK(allocate, CoTaskMemAlloc);
  allocate.Answer([&](SIZE_T) { return static_cast<void*>(block.Get()); });
  EXPECT_EQ(Update(kPassword), S_OK);
  EXPECT_EQ(std::exchange(out.rgbSerialization, outBytes), block.Get());
  EXPECT_EQ(std::memcmp(block.Get(), bytes.Get(), kSize), 0);
  EXPECT_EQ(allocate.Calls(), (std::vector<std::tuple<SIZE_T>>{{10}}));
}

TEST_F(RemoteCredential, IsCopiedAtItsFirstSizeIfItGrows) {
  const GuardedBuffer<BYTE> block{kSize};
  KUV_IMPORT_HOOK(allocate, CoTaskMemAlloc);
  allocate.Answer([&](SIZE_T) {
    in.cbSerialization = 100 * kSize;
    return static_cast<void*>(block.Get());
  });
  EXPECT_EQ(filter->UpdateRemoteCredential(&in, &out), S_OK);
  EXPECT_EQ(out.cbSerialization, kSize);
  EXPECT_EQ(std::exchange(out.rgbSerialization, outBytes), block.Get());
  EXPECT_EQ(std::memcmp(block.Get(), bytes.Get(), kSize), 0);
}

TEST_F(RemoteCredential, MayHaveAnySize) {
  for (const ULONG size : {1u, 4096u, 1000000u}) {
    const GuardedBuffer<BYTE> many{size};
    std::iota(many.Get(), many.Get() + size, BYTE{1});
    in = {3, Guid(kPassword), size, many.Get()};
    ASSERT_EQ(filter->UpdateRemoteCredential(&in, &out), S_OK);
    EXPECT_EQ(out.cbSerialization, size);
    EXPECT_EQ(std::memcmp(out.rgbSerialization, many.Get(), size), 0);
    ::CoTaskMemFree(std::exchange(out.rgbSerialization, outBytes));
  }
}

TEST_F(RemoteCredential, MayShareItsRecordWithTheOutput) {
  Credential both = in;
  both.clsidCredentialProvider = Guid(kV1SmartCard);
  ASSERT_EQ(filter->UpdateRemoteCredential(&both, &both), S_OK);
  EXPECT_EQ(both.ulAuthenticationPackage, 0x87654321u);
  EXPECT_EQ(Text(both.clsidCredentialProvider), kKuvSmartCard);
  EXPECT_EQ(both.cbSerialization, kSize);
  ASSERT_NE(both.rgbSerialization, bytes.Get());
  EXPECT_EQ(std::memcmp(both.rgbSerialization, bytes.Get(), kSize), 0);
  ::CoTaskMemFree(both.rgbSerialization);
}

TEST_F(RemoteCredential, KeepsASharedRecordIfItPasses) {
  Credential both = in;
  both.clsidCredentialProvider = Guid(kVendor);
  const Credential before = both;
  EXPECT_EQ(filter->UpdateRemoteCredential(&both, &both), E_NOTIMPL);
  EXPECT_TRUE(Same(both, before));
}

// Calls back at each log line.
struct LineCallback final : Kuv::ILogHandler {
  explicit LineCallback(std::function<void(const wchar_t*)> act) : callback(std::move(act)) {}
  void LogWrite(LogLevel, const wchar_t* text) override { callback(text); }
  void LogWrite(LogLevel, const char*) override {}
  void Flush() override {}

  std::function<void(const wchar_t*)> callback;
};

TEST_F(RemoteCredential, IsUsedAsItWasAtTheCall) {
  BYTE others[2] = {1, 2};
  const Credential before = in;
  const Credential changes[] = {{before.ulAuthenticationPackage, Guid(kPassword), 0, bytes.Get()},
                                {before.ulAuthenticationPackage, Guid(kPassword), 100 * kSize, bytes.Get()},
                                {before.ulAuthenticationPackage, Guid(kPassword), kSize, nullptr},
                                {1, Guid(kVendor), 2, others}};
  const Credential* change = nullptr;
  const auto callback = std::make_shared<LineCallback>([&](const wchar_t* line) {
    if (std::wstring_view{line}.find(L"guidString") != std::wstring_view::npos) in = *change;
  });
  log.System().AddHandler(callback);
  for (const Credential& changed : changes) {
    SCOPED_TRACE(&changed - changes);
    change = &changed;
    in = before;
    ASSERT_EQ(filter->UpdateRemoteCredential(&in, &out), S_OK);
    EXPECT_EQ(Text(out.clsidCredentialProvider), kKuv);
    EXPECT_EQ(out.ulAuthenticationPackage, 0x87654321u);
    EXPECT_EQ(out.cbSerialization, kSize);
    EXPECT_EQ(std::memcmp(out.rgbSerialization, bytes.Get(), kSize), 0);
    ::CoTaskMemFree(std::exchange(out.rgbSerialization, outBytes));
  }
  log.System().RemoveHandler(callback);
}

TEST_F(RemoteCredential, IsLoggedAsWhitelistedBeforeTheListIsReleased) {
  std::size_t blocksBefore = 0;
  std::size_t blocksAtTheLine = 0;
  // Another log, because the captured one allocates for each line.
  g_logSystem = std::make_shared<Kuv::LogSystem>();
  g_logSystem->minLevel = Debug;
  g_logSystem->AddHandler(std::make_shared<LineCallback>([&](const wchar_t* line) {
    const std::wstring_view text{line};
    if (text.find(L"guidString") != std::wstring_view::npos) blocksBefore = LiveBlocks();
    if (text.find(L"Ignore whitelisted") != std::wstring_view::npos) blocksAtTheLine = LiveBlocks();
  }));
  EXPECT_EQ(Update(kVendor), E_NOTIMPL);
  g_logSystem.reset();
  EXPECT_NE(blocksBefore, 0u);
  EXPECT_EQ(blocksAtTheLine, blocksBefore + 1);
}

// Two pages around a boundary, of which one has no access until it is written.
class WatchedPages {
 public:
  enum class Watched { First, Second };

  WatchedPages(Watched watched, std::function<void()> atTheFirstAccess)
      : memory_(
            static_cast<BYTE*>(::VirtualAlloc(nullptr, 2 * kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE))),
        page_(watched == Watched::First ? memory_ : memory_ + kPage),
        atTheFirstAccess_(std::move(atTheFirstAccess)) {
    current = this;
    handler_ = ::AddVectoredExceptionHandler(/*First=*/1, Handle);
  }
  ~WatchedPages() {
    ::RemoveVectoredExceptionHandler(handler_);
    current = nullptr;
    ::VirtualFree(memory_, 0, MEM_RELEASE);
  }
  WatchedPages(const WatchedPages&) = delete;
  WatchedPages& operator=(const WatchedPages&) = delete;

  BYTE* Boundary() const { return memory_ + kPage; }
  void Watch() { Protect(PAGE_NOACCESS); }

 private:
  static constexpr std::size_t kPage = 4096;
  static inline WatchedPages* current = nullptr;

  static LONG CALLBACK Handle(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    if (record.ExceptionCode != EXCEPTION_ACCESS_VIOLATION) return EXCEPTION_CONTINUE_SEARCH;
    const auto address = static_cast<std::uintptr_t>(record.ExceptionInformation[1]);
    if (address - reinterpret_cast<std::uintptr_t>(current->page_) >= kPage) return EXCEPTION_CONTINUE_SEARCH;
    current->Protect(PAGE_READWRITE);
    current->atTheFirstAccess_();
    return EXCEPTION_CONTINUE_EXECUTION;
  }

  void Protect(DWORD protection) {
    DWORD before = 0;
    ::VirtualProtect(page_, kPage, protection, &before);
  }

  BYTE* memory_;
  BYTE* page_;
  std::function<void()> atTheFirstAccess_;
  void* handler_ = nullptr;
};

// The output is placed so that the boundary of two pages separates its fields.
TEST_F(RemoteCredential, IsWrittenInTheOrderProviderPackageSize) {
  const struct {
    const char* name;
    WatchedPages::Watched watched;
    std::size_t boundary;  // as an offset in the record
    ULONG package;         // at the first access to the watched field
  } rows[] = {
      {"package", WatchedPages::Watched::First, offsetof(Credential, clsidCredentialProvider), 1},
      {"size", WatchedPages::Watched::Second, offsetof(Credential, cbSerialization), 0x87654321},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Credential seen{};
    int accesses = 0;
    const BYTE* record = nullptr;
    WatchedPages pages{row.watched, [&] {
                         ++accesses;
                         std::memcpy(&seen, record, sizeof(seen));
                       }};
    BYTE* const place = pages.Boundary() - row.boundary;
    record = place;
    std::memcpy(place, &out, sizeof(out));
    pages.Watch();
    ASSERT_EQ(filter->UpdateRemoteCredential(&in, reinterpret_cast<Credential*>(place)), S_OK);
    EXPECT_EQ(accesses, 1);
    EXPECT_EQ(Text(seen.clsidCredentialProvider), kKuv);
    EXPECT_EQ(seen.ulAuthenticationPackage, row.package);
    EXPECT_EQ(seen.cbSerialization, 2u);
    std::memcpy(&seen, place, sizeof(seen));
    EXPECT_EQ(seen.cbSerialization, kSize);
    ::CoTaskMemFree(seen.rgbSerialization);
  }
}

}  // namespace
