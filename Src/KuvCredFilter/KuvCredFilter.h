#pragma once

#include <atomic>

#include "KuvCredFilter/CredentialProviderApi.h"

/// The filter: decides which credential providers stay enabled for a usage scenario, and redirects
/// credentials that arrive from a remote connection to the second-factor provider. An object keeps
/// nothing between calls and serves any number of them; each live one holds the module.
class CKuvCredFilter : public ICredentialProviderFilter {
 public:
  /// Starts with one reference.
  CKuvCredFilter();
  CKuvCredFilter(const CKuvCredFilter&) = delete;
  CKuvCredFilter& operator=(const CKuvCredFilter&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  /// Writes the allow flags of the providers for a usage scenario, or leaves them all alone. `rgbAllow`
  /// and `rgclsidProviders` hold `cProviders` entries each. Returns E_INVALIDARG, with nothing written,
  /// for a null array or no providers, and S_OK in every other case: if the configuration cannot be
  /// loaded or memory is exhausted, the second-factor providers go and all others stay.
  HRESULT STDMETHODCALLTYPE Filter(CREDENTIAL_PROVIDER_USAGE_SCENARIO cpus, DWORD dwFlags,
                                   GUID* rgclsidProviders, BOOL* rgbAllow, DWORD cProviders) override;

  /// Redirects a credential from a remote connection to a second-factor provider, unless its own
  /// provider is on the allowed list. On S_OK `pcpcsOut` holds a copy of the serialized bytes, made with
  /// `CoTaskMemAlloc`, which passes to the caller. E_NOTIMPL leaves the output alone: the platform goes on
  /// with the input. E_OUTOFMEMORY: no memory for the copy; the output has no bytes then.
  HRESULT STDMETHODCALLTYPE
  UpdateRemoteCredential(const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION* pcpcsIn,
                         CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION* pcpcsOut) override;

 protected:
  virtual ~CKuvCredFilter();

 private:
  std::atomic<ULONG> references_{1};
};

/// Creates a filter and gives one of its interfaces, `IUnknown` or `ICredentialProviderFilter`. Throws
/// `std::bad_alloc`.
HRESULT CKuvCredFilter_CreateInstance(REFIID riid, void** ppv);
