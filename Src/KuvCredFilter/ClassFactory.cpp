#include "KuvCredFilter/ClassFactory.h"

#include <memory>

#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Startup/LogStartup.h"
#include "KuvCredFilter/Identifiers.h"
#include "KuvCredFilter/KuvCredFilter.h"
#include "KuvCredFilter/Module.h"

namespace {

// Releases the creator's reference on every path: `StartLogging` can throw.
struct ReleaseReference {
  void operator()(CClassFactory* factory) const { factory->Release(); }
};

HRESULT CreateFactory(REFCLSID rclsid, REFIID riid, void** ppv) {
  if (rclsid != CLSID_KuvCredFilter) return CLASS_E_CLASSNOTAVAILABLE;
  const std::unique_ptr<CClassFactory, ReleaseReference> factory{new CClassFactory};
  // Never null with this allocator, which throws instead.
  if (factory == nullptr) return E_OUTOFMEMORY;
  return factory->QueryInterface(riid, ppv);
}

}  // namespace

CClassFactory::CClassFactory() {
  KUV_LOG(LogLevel::Trace, "%s object %p created", "CClassFactory::CClassFactory", static_cast<void*>(this));
}

CClassFactory::~CClassFactory() {
  KUV_LOG(LogLevel::Trace, "%s object %p destroyed", "CClassFactory::~CClassFactory",
          static_cast<void*>(this));
}

HRESULT CClassFactory::QueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_INVALIDARG;
  StartLogging({});
  if (riid != IID_IClassFactory && riid != IID_IUnknown) {
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  const ULONG references = references_.load();
  *ppv = static_cast<IClassFactory*>(this);
  AddRef();
  KUV_LOG(LogLevel::Trace, "Filter CClassFactory::QueryInterface %p (%d)", static_cast<void*>(this),
          static_cast<int>(references));
  return S_OK;
}

ULONG CClassFactory::AddRef() {
  return references_.fetch_add(1) + 1;
}

ULONG CClassFactory::Release() {
  const ULONG references = references_.fetch_sub(1) - 1;
  if (references == 0) delete this;
  return references;
}

HRESULT CClassFactory::CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppv) {
  if (pUnkOuter != nullptr) return CLASS_E_NOAGGREGATION;
  return CKuvCredFilter_CreateInstance(riid, ppv);
}

HRESULT CClassFactory::LockServer(BOOL fLock) {
  if (fLock != FALSE) {
    KUV_LOG(LogLevel::Trace, "Filter LockServer Lock");
    DllAddRef();
  } else {
    KUV_LOG(LogLevel::Trace, "Filter LockServer Release");
    DllRelease();
  }
  return S_OK;
}

HRESULT CClassFactory_CreateInstance(REFCLSID rclsid, REFIID riid, void** ppv) {
  KUV_LOG(LogLevel::Trace, "Entering %s", "CClassFactory_CreateInstance");
  ApplyConfiguredLogLevel();
  const HRESULT result = CreateFactory(rclsid, riid, ppv);
  KUV_LOG(LogLevel::Trace, "Exiting %s {hr: 0x%08X}", "CClassFactory_CreateInstance",
          static_cast<unsigned>(result));
  return result;
}
