#include <type_traits>

#include "KuvCredFilter/ComFixture.h"
#include "KuvCredFilter/KuvCredFilter.h"
#include "Support/Together.h"

namespace {

using namespace KuvTest;
using enum LogLevel;

class FilterObject : public ComFixture {
 protected:
  FilterObject() {
    void* object = nullptr;
    if (CKuvCredFilter_CreateInstance(Guid(kICredentialProviderFilter), &object) != S_OK) {
      throw std::runtime_error{"no filter"};
    }
    filter = static_cast<ICredentialProviderFilter*>(object);
    log.Clear();
  }
  ~FilterObject() override { EXPECT_EQ(filter->Release(), 0u); }

  ICredentialProviderFilter* filter = nullptr;
};

TEST_F(FilterObject, StartsWithTheReferenceOfTheClient) {
  EXPECT_EQ(References(filter), 1u);
  EXPECT_EQ(g_moduleCount.load(), 1);
}

TEST_F(FilterObject, LogsItsCreationAndDestruction) {
  void* object = nullptr;
  ASSERT_EQ(CKuvCredFilter_CreateInstance(Guid(kIUnknown), &object), S_OK);
  const std::string address = Address(object);
  EXPECT_EQ(static_cast<IUnknown*>(object)->Release(), 0u);
  EXPECT_EQ(log.Lines(),
            (LogLines{{Trace, "Entering CKuvCredFilter_CreateInstance"},
                      {Trace, "CKuvCredFilter::CKuvCredFilter object " + address + " created"},
                      {Trace, "Filter DllAddRef (count 2)"},
                      {Trace, "Exiting CKuvCredFilter_CreateInstance {hr: 0x00000000}"},
                      {Trace, "CKuvCredFilter::~CKuvCredFilter object " + address + " destroyed"},
                      {Trace, "Filter DllRelease (count 1)"}}));
}

TEST_F(FilterObject, ConstructorStartsWithOneReference) {
  auto* const object = new CKuvCredFilter;
  EXPECT_EQ(References(object), 1u);
  void* queried = nullptr;
  EXPECT_EQ(object->QueryInterface(Guid(kIUnknown), &queried), S_OK);
  EXPECT_EQ(References(object), 2u);
  EXPECT_EQ(object->Release(), 1u);
  EXPECT_EQ(g_moduleCount.load(), 2);
  EXPECT_EQ(static_cast<IUnknown*>(queried)->Release(), 0u);
  EXPECT_EQ(g_moduleCount.load(), 1);
}

TEST_F(FilterObject, CountsReferencesSilently) {
  ExpectCountsReferencesSilently(filter);
  EXPECT_EQ(g_moduleCount.load(), 1);
}

TEST_F(FilterObject, HasUnknownAndFilterInterfacesAtOneAddress) {
  for (const char* const interfaceId : {kIUnknown, kICredentialProviderFilter}) {
    SCOPED_TRACE(interfaceId);
    void* object = nullptr;
    EXPECT_EQ(filter->QueryInterface(Guid(interfaceId), &object), S_OK);
    EXPECT_EQ(object, filter);
    EXPECT_EQ(filter->Release(), 1u);
  }
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(FilterObject, HasNoOtherInterface) {
  ExpectNoInterface(filter, {kIClassFactory, kFilterClass, "{00000000-0000-0000-0000-000000000000}"});
}

TEST_F(FilterObject, IsCreatedWithoutReadingTheSettings) {
  registry.Local().SetText(L"Host", L"host.example");
  registry.Local().SetText(L"IKey", L"ikey");
  registry.Local().SetText(L"SKey", L"skey");
  void* object = nullptr;
  ASSERT_EQ(CKuvCredFilter_CreateInstance(Guid(kIUnknown), &object), S_OK);
  EXPECT_FALSE(GetConfiguration()->IsConfigured());
  static_cast<IUnknown*>(object)->Release();
}

TEST_F(FilterObject, HoldsNoState) {
  EXPECT_LE(sizeof(CKuvCredFilter), 2 * sizeof(void*));
}

TEST_F(FilterObject, IsDestroyedThroughItsVirtualDestructor) {
  struct Derived final : CKuvCredFilter {
    explicit Derived(bool& flag) : destroyed(flag) {}
    ~Derived() override { destroyed = true; }
    bool& destroyed;
  };
  bool destroyed = false;
  EXPECT_EQ((new Derived{destroyed})->Release(), 0u);
  EXPECT_TRUE(destroyed);
}

// The operations as a C client sees them.
struct FilterTable {
  HRESULT(STDMETHODCALLTYPE* QueryInterface)(void* self, const GUID* interfaceId, void** object);
  ULONG(STDMETHODCALLTYPE* AddRef)(void* self);
  ULONG(STDMETHODCALLTYPE* Release)(void* self);
  HRESULT(STDMETHODCALLTYPE* Filter)
  (void* self, std::int32_t scenario, DWORD flags, GUID* providers, BOOL* allow, DWORD count);
  HRESULT(STDMETHODCALLTYPE* UpdateRemoteCredential)(void* self, const void* in, void* out);
};

TEST_F(FilterObject, HasItsOperationsInInterfaceOrder) {
  void* const object = filter;
  const FilterTable& table = **static_cast<const FilterTable* const*>(object);
  EXPECT_EQ(table.AddRef(object), 2u);
  EXPECT_EQ(table.Release(object), 1u);
  const GUID interfaceId = Guid(kIUnknown);
  void* other = nullptr;
  EXPECT_EQ(table.QueryInterface(object, &interfaceId, &other), S_OK);
  EXPECT_EQ(other, object);
  EXPECT_EQ(table.Release(other), 1u);
  GUID provider = Guid(kKuv);
  BOOL allow = 7;
  EXPECT_EQ(table.Filter(object, 5, 0x100, &provider, &allow, 1), S_OK);
  EXPECT_EQ(allow, 0);
  EXPECT_EQ(static_cast<unsigned>(table.UpdateRemoteCredential(object, nullptr, nullptr)), 0x80004001u);
}

// The platform's record, field by field.
TEST(CredentialSerialization, HasThePlatformsLayout) {
  using Credential = CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION;
  static_assert(offsetof(Credential, ulAuthenticationPackage) == 0);
  static_assert(offsetof(Credential, clsidCredentialProvider) == 4);
  static_assert(offsetof(Credential, cbSerialization) == 20);
  static_assert(offsetof(Credential, rgbSerialization) == 24);
  EXPECT_EQ(sizeof(Credential), 24 + sizeof(void*));
  EXPECT_EQ(sizeof(CREDENTIAL_PROVIDER_USAGE_SCENARIO), 4u);
}

constexpr int kThreads = 4;
constexpr int kRounds = 500000;

template <typename Work>
void OnAllThreads(Work work) {
  Together(kThreads, [&work](int) {
    for (int round = 0; round < kRounds; ++round) work();
  });
}

TEST_F(FilterObject, CountsReferencesOnSeveralThreads) {
  OnAllThreads([object = filter] {
    object->AddRef();
    object->Release();
  });
  EXPECT_EQ(References(filter), 1u);
}

TEST_F(FilterObject, ModuleCountIsExactOnSeveralThreads) {
  log.System().minLevel = LogLevelPlain;
  OnAllThreads([] { DllAddRef(); });
  EXPECT_EQ(g_moduleCount.load(), 1 + kThreads * kRounds);
  OnAllThreads([] { DllRelease(); });
  EXPECT_EQ(g_moduleCount.load(), 1);
}

TEST_F(FilterObject, LogsTheModuleCount) {
  DllAddRef();
  DllAddRef();
  DllRelease();
  DllRelease();
  EXPECT_EQ(log.Lines(), (LogLines{{Trace, "Filter DllAddRef (count 2)"},
                                   {Trace, "Filter DllAddRef (count 3)"},
                                   {Trace, "Filter DllRelease (count 2)"},
                                   {Trace, "Filter DllRelease (count 1)"}}));
}

}  // namespace
