#pragma once

#include <atomic>

#include "KuvCredFilter/CredentialProviderApi.h"

/// @file
/// The credential provider filter. Implemented in KuvCredFilter.cpp, FilterDecision.cpp and
/// RemoteCredential.cpp.

/// Decides which credential providers stay enabled for a usage scenario, and redirects credentials from a
/// remote connection to a Kuv provider. An object has no state between calls; while it exists,
/// the module stays loaded.
class CKuvCredFilter : public ICredentialProviderFilter {
 public:
  /// Creates the filter with one reference.
  CKuvCredFilter();
  CKuvCredFilter(const CKuvCredFilter&) = delete;
  CKuvCredFilter& operator=(const CKuvCredFilter&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  /// Writes the allow flags of all providers for a usage scenario, or does not change any of them.
  /// `rgclsidProviders` and `rgbAllow` have `cProviders` elements each. Returns `E_INVALIDARG` and writes
  /// nothing for a null array or no providers; otherwise returns `S_OK`. If the configuration cannot be
  /// loaded or memory is exhausted, disables the Kuv providers and enables all others.
  HRESULT STDMETHODCALLTYPE Filter(CREDENTIAL_PROVIDER_USAGE_SCENARIO cpus, DWORD dwFlags,
                                   GUID* rgclsidProviders, BOOL* rgbAllow, DWORD cProviders) override;

  /// Redirects a credential from a remote connection to a Kuv provider, unless its provider is on
  /// the allowed list. Returns `S_OK` and a copy of the serialized bytes in `pcpcsOut`, which the caller
  /// frees with `CoTaskMemFree`. Returns `E_NOTIMPL` if the credential is not redirected; the caller then
  /// uses the input. Returns `E_OUTOFMEMORY` if there is no memory for the copy.
  HRESULT STDMETHODCALLTYPE
  UpdateRemoteCredential(const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION* pcpcsIn,
                         CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION* pcpcsOut) override;

 protected:
  virtual ~CKuvCredFilter();

 private:
  std::atomic<ULONG> references_{1};
};

/// Creates a filter and returns its interface `riid`, `IUnknown` or `ICredentialProviderFilter`, in `ppv`.
/// Throws `std::bad_alloc`.
HRESULT CKuvCredFilter_CreateInstance(REFIID riid, void** ppv);
