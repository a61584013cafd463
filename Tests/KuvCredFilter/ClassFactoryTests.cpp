#include "KuvCredFilter/ClassFactory.h"

#include <type_traits>

#include "KuvCredFilter/ComFixture.h"
#include "KuvCredFilter/Identifiers.h"
#include "Support/ImportHook.h"

namespace {

using namespace KuvTest;
using enum LogLevel;

class ClassFactory : public ComFixture {
 protected:
  ClassFactory() : address(Address(factory)) { log.Clear(); }
  ~ClassFactory() override { EXPECT_EQ(factory->Release(), 0u); }

  CClassFactory* const factory = new CClassFactory;
  const std::string address;
};

TEST_F(ClassFactory, LogsItsCreationAndDestruction) {
  auto* const other = new CClassFactory;
  const std::string otherAddress = Address(other);
  EXPECT_EQ(other->Release(), 0u);
  EXPECT_EQ(log.Lines(),
            (LogLines{{Trace, "CClassFactory::CClassFactory object " + otherAddress + " created"},
                      {Trace, "CClassFactory::~CClassFactory object " + otherAddress + " destroyed"}}));
}

TEST_F(ClassFactory, CountsReferencesSilently) {
  ExpectCountsReferencesSilently(factory);
}

TEST_F(ClassFactory, HasUnknownAndClassFactoryInterfaces) {
  for (const char* const interfaceId : {kIUnknown, kIClassFactory}) {
    SCOPED_TRACE(interfaceId);
    log.Clear();
    void* object = nullptr;
    EXPECT_EQ(factory->QueryInterface(Guid(interfaceId), &object), S_OK);
    EXPECT_EQ(object, factory);
    EXPECT_EQ(log.Lines(), (LogLines{{Trace, "Filter CClassFactory::QueryInterface " + address + " (1)"}}));
    EXPECT_EQ(factory->Release(), 1u);
  }
}

TEST_F(ClassFactory, LogsTheCountBeforeTheQuery) {
  factory->AddRef();
  void* object = nullptr;
  EXPECT_EQ(factory->QueryInterface(Guid(kIUnknown), &object), S_OK);
  EXPECT_EQ(log.Lines(), (LogLines{{Trace, "Filter CClassFactory::QueryInterface " + address + " (2)"}}));
  EXPECT_EQ(factory->Release(), 2u);
  EXPECT_EQ(factory->Release(), 1u);
}

TEST_F(ClassFactory, HasNoOtherInterface) {
  ExpectNoInterface(
      factory, {kICredentialProviderFilter, kFilterClass, kKuv, "{00000002-0000-0000-C000-000000000046}"});
}

TEST_F(ClassFactory, DoesNotRaiseTheModuleCount) {
  EXPECT_EQ(g_moduleCount.load(), 0);
}

TEST_F(ClassFactory, RejectsAggregation) {
  void* object = kUntouched;
  EXPECT_EQ(static_cast<unsigned>(factory->CreateInstance(factory, Guid(kIUnknown), &object)), 0x80040110u);
  EXPECT_EQ(object, kUntouched);
  EXPECT_EQ(References(factory), 1u);
  EXPECT_EQ(g_moduleCount.load(), 0);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(ClassFactory, CreatesAFilter) {
  for (const char* const interfaceId : {kICredentialProviderFilter, kIUnknown}) {
    SCOPED_TRACE(interfaceId);
    log.Clear();
    void* object = nullptr;
    ASSERT_EQ(factory->CreateInstance(nullptr, Guid(interfaceId), &object), S_OK);
    auto* const filter = static_cast<ICredentialProviderFilter*>(object);
    EXPECT_EQ(log.Lines(),
              (LogLines{{Trace, "Entering CKuvCredFilter_CreateInstance"},
                        {Trace, "CKuvCredFilter::CKuvCredFilter object " + Address(filter) + " created"},
                        {Trace, "Filter DllAddRef (count 1)"},
                        {Trace, "Exiting CKuvCredFilter_CreateInstance {hr: 0x00000000}"}}));
    EXPECT_EQ(References(filter), 1u);
    EXPECT_EQ(References(factory), 1u);
    EXPECT_EQ(filter->Release(), 0u);
  }
}

TEST_F(ClassFactory, DestroysFilterWithoutTheRequestedInterface) {
  void* object = kUntouched;
  EXPECT_EQ(static_cast<unsigned>(factory->CreateInstance(nullptr, Guid(kIClassFactory), &object)),
            0x80004002u);
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(g_moduleCount.load(), 0);
  const LogLines lines = log.Lines();
  ASSERT_EQ(lines.size(), 6u);
  const std::string filter = AddressIn(lines[1].text);
  EXPECT_EQ(lines, (LogLines{{Trace, "Entering CKuvCredFilter_CreateInstance"},
                             {Trace, "CKuvCredFilter::CKuvCredFilter object " + filter + " created"},
                             {Trace, "Filter DllAddRef (count 1)"},
                             {Trace, "CKuvCredFilter::~CKuvCredFilter object " + filter + " destroyed"},
                             {Trace, "Filter DllRelease (count 0)"},
                             {Trace, "Exiting CKuvCredFilter_CreateInstance {hr: 0x80004002}"}}));
}

TEST_F(ClassFactory, DestroysFilterWithoutOutPointer) {
  EXPECT_EQ(factory->CreateInstance(nullptr, Guid(kIUnknown), nullptr), E_INVALIDARG);
  EXPECT_EQ(g_moduleCount.load(), 0);
  EXPECT_EQ(log.Lines().back(), (LogLine{Trace, "Exiting CKuvCredFilter_CreateInstance {hr: 0x80070057}"}));
}

TEST_F(ClassFactory, LocksTheServer) {
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  EXPECT_EQ(g_moduleCount.load(), 1);
  EXPECT_EQ(factory->LockServer(-1), S_OK);
  EXPECT_EQ(g_moduleCount.load(), 2);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  EXPECT_EQ(g_moduleCount.load(), 0);
  EXPECT_EQ(log.Lines(), (LogLines{{Trace, "Filter LockServer Lock"},
                                   {Trace, "Filter DllAddRef (count 1)"},
                                   {Trace, "Filter LockServer Lock"},
                                   {Trace, "Filter DllAddRef (count 2)"},
                                   {Trace, "Filter LockServer Release"},
                                   {Trace, "Filter DllRelease (count 1)"},
                                   {Trace, "Filter LockServer Release"},
                                   {Trace, "Filter DllRelease (count 0)"}}));
}

TEST_F(ClassFactory, LetsTheLockCountFallBelowZero) {
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  EXPECT_EQ(g_moduleCount.load(), -1);
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  EXPECT_EQ(log.Lines(), (LogLines{{Trace, "Filter LockServer Release"},
                                   {Trace, "Filter DllRelease (count -1)"},
                                   {Trace, "Filter LockServer Lock"},
                                   {Trace, "Filter DllAddRef (count 0)"}}));
}

TEST_F(ClassFactory, LocksAddToLiveObjects) {
  void* object = nullptr;
  ASSERT_EQ(factory->CreateInstance(nullptr, Guid(kIUnknown), &object), S_OK);
  factory->LockServer(TRUE);
  EXPECT_EQ(g_moduleCount.load(), 2);
  static_cast<IUnknown*>(object)->Release();
  EXPECT_EQ(g_moduleCount.load(), 1);
  factory->LockServer(FALSE);
}

TEST_F(ClassFactory, LogsAtTraceOnly) {
  log.System().minLevel = Debug;
  void* object = nullptr;
  factory->QueryInterface(Guid(kIUnknown), &object);
  factory->Release();
  factory->LockServer(TRUE);
  factory->LockServer(FALSE);
  ASSERT_EQ(factory->CreateInstance(nullptr, Guid(kIUnknown), &object), S_OK);
  static_cast<IUnknown*>(object)->Release();
  (new CClassFactory)->Release();
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(ClassFactory, KeepsARunningLog) {
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  const std::shared_ptr<Kuv::LogSystem> before = g_logSystem;
  void* object = nullptr;
  EXPECT_EQ(factory->QueryInterface(Guid(kIUnknown), &object), S_OK);
  EXPECT_EQ(factory->Release(), 1u);
  EXPECT_EQ(g_logSystem, before);
  EXPECT_EQ(open.CallCount(), 0u);
}

// The operations as a C client sees them.
struct FactoryTable {
  HRESULT(STDMETHODCALLTYPE* QueryInterface)(void* self, const GUID* interfaceId, void** object);
  ULONG(STDMETHODCALLTYPE* AddRef)(void* self);
  ULONG(STDMETHODCALLTYPE* Release)(void* self);
  HRESULT(STDMETHODCALLTYPE* CreateInstance)(void* self, void* outer, const GUID* interfaceId, void** object);
  HRESULT(STDMETHODCALLTYPE* LockServer)(void* self, BOOL lock);
};

TEST_F(ClassFactory, HasItsOperationsInInterfaceOrder) {
  static_assert(!std::has_virtual_destructor_v<CClassFactory>);
  const GUID interfaceId = Guid(kIClassFactory);
  void* object = nullptr;
  ASSERT_EQ(factory->QueryInterface(interfaceId, &object), S_OK);
  const FactoryTable& table = **static_cast<const FactoryTable* const*>(object);
  EXPECT_EQ(table.AddRef(object), 3u);
  EXPECT_EQ(table.Release(object), 2u);
  void* other = nullptr;
  EXPECT_EQ(table.QueryInterface(object, &interfaceId, &other), S_OK);
  EXPECT_EQ(other, object);
  EXPECT_EQ(table.Release(other), 2u);
  EXPECT_EQ(table.CreateInstance(object, object, &interfaceId, &other), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(table.LockServer(object, TRUE), S_OK);
  EXPECT_EQ(g_moduleCount.load(), 1);
  EXPECT_EQ(table.LockServer(object, FALSE), S_OK);
  EXPECT_EQ(table.Release(object), 1u);
}

}  // namespace
