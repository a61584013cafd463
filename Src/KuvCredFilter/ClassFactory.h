#pragma once

#include <windows.h>
#include <unknwn.h>

#include <atomic>

/// Creates filter objects. A factory does not keep the module loaded; `LockServer` does.
class CClassFactory final : public IClassFactory {
 public:
  /// Creates the factory with one reference.
  CClassFactory();
  CClassFactory(const CClassFactory&) = delete;
  CClassFactory& operator=(const CClassFactory&) = delete;

  /// Returns `IClassFactory` or `IUnknown`. Starts logging too, because this is the first call of a client on
  /// an object of the module.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppv) override;
  HRESULT STDMETHODCALLTYPE LockServer(BOOL fLock) override;

 private:
  ~CClassFactory();

  std::atomic<ULONG> references_{1};
};

/// Sets the log level from the settings, creates the factory of a class and returns its interface `riid`,
/// `IClassFactory` or `IUnknown`, in `ppv`. Returns `CLASS_E_CLASSNOTAVAILABLE` for any class except
/// `CLSID_KuvCredFilter`. Throws `std::bad_alloc`.
HRESULT CClassFactory_CreateInstance(REFCLSID rclsid, REFIID riid, void** ppv);
