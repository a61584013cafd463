#pragma once

#include <windows.h>
#include <unknwn.h>

#include <atomic>

/// Makes filter objects. The factory itself does not hold the module; `LockServer` does.
class CClassFactory final : public IClassFactory {
 public:
  /// Starts with one reference.
  CClassFactory();
  CClassFactory(const CClassFactory&) = delete;
  CClassFactory& operator=(const CClassFactory&) = delete;

  /// Starts logging as well: the first thing that a client does with the module is to ask for this.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppv) override;
  HRESULT STDMETHODCALLTYPE LockServer(BOOL fLock) override;

 private:
  ~CClassFactory();

  std::atomic<ULONG> references_{1};
};

/// Creates the factory of a class and gives one of its interfaces, `IClassFactory` or `IUnknown`, after
/// refreshing the log level from the settings. Returns CLASS_E_CLASSNOTAVAILABLE for any class but
/// `CLSID_KuvCredFilter`. Throws `std::bad_alloc`.
HRESULT CClassFactory_CreateInstance(REFCLSID rclsid, REFIID riid, void** ppv);
