#pragma once

#include <windows.h>
#include <unknwn.h>

// The credential provider interfaces that a filter needs: from the header of the SDK or, without it, declared
// here.
#if __has_include(<credentialprovider.h>)
#include <credentialprovider.h>
#else

enum CREDENTIAL_PROVIDER_USAGE_SCENARIO {
  CPUS_INVALID = 0,
  CPUS_LOGON = 1,
  CPUS_UNLOCK_WORKSTATION = 2,
  CPUS_CHANGE_PASSWORD = 3,
  CPUS_CREDUI = 4,
  CPUS_PLAP = 5,
};

struct CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION {
  ULONG ulAuthenticationPackage;
  GUID clsidCredentialProvider;
  ULONG cbSerialization;
  BYTE* rgbSerialization;
};

struct ICredentialProviderFilter : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Filter(CREDENTIAL_PROVIDER_USAGE_SCENARIO cpus, DWORD dwFlags,
                                           GUID* rgclsidProviders, BOOL* rgbAllow, DWORD cProviders) = 0;
  virtual HRESULT STDMETHODCALLTYPE
  UpdateRemoteCredential(const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION* pcpcsIn,
                         CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION* pcpcsOut) = 0;
};

EXTERN_C const IID IID_ICredentialProviderFilter;
EXTERN_C const CLSID CLSID_SmartcardCredentialProvider;
EXTERN_C const CLSID CLSID_V1SmartcardCredentialProvider;

#endif
