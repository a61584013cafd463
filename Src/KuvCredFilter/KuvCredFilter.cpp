#include "KuvCredFilter/KuvCredFilter.h"

#include "KuvAuth/Logging/LogFront.h"
#include "KuvCredFilter/Module.h"

CKuvCredFilter::CKuvCredFilter() {
  KUV_LOG(LogLevel::Trace, "%s object %p created", "CKuvCredFilter::CKuvCredFilter",
          static_cast<void*>(this));
  DllAddRef();
}

CKuvCredFilter::~CKuvCredFilter() {
  KUV_LOG(LogLevel::Trace, "%s object %p destroyed", "CKuvCredFilter::~CKuvCredFilter",
          static_cast<void*>(this));
  DllRelease();
}

HRESULT CKuvCredFilter::QueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_INVALIDARG;
  if (riid != IID_IUnknown && riid != IID_ICredentialProviderFilter) {
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  *ppv = static_cast<ICredentialProviderFilter*>(this);
  AddRef();
  return S_OK;
}

ULONG CKuvCredFilter::AddRef() {
  return references_.fetch_add(1) + 1;
}

ULONG CKuvCredFilter::Release() {
  const ULONG references = references_.fetch_sub(1) - 1;
  if (references == 0) delete this;
  return references;
}

HRESULT CKuvCredFilter_CreateInstance(REFIID riid, void** ppv) {
  KUV_LOG(LogLevel::Trace, "Entering %s", "CKuvCredFilter_CreateInstance");
  auto* const filter = new CKuvCredFilter;
  const HRESULT result = filter->QueryInterface(riid, ppv);
  filter->Release();
  KUV_LOG(LogLevel::Trace, "Exiting %s {hr: 0x%08X}", "CKuvCredFilter_CreateInstance",
          static_cast<unsigned>(result));
  return result;
}
