#include <cstring>
#include <exception>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvCredFilter/AllowedProviders.h"
#include "KuvCredFilter/Identifiers.h"
#include "KuvCredFilter/KuvCredFilter.h"

namespace {

// Redirects smart card credentials to the wrapping provider, independently of the smart card settings.
const CLSID& RedirectionTarget(const GUID& provider) noexcept {
  const bool smartCard =
      provider == CLSID_V1SmartcardCredentialProvider || provider == CLSID_SmartcardCredentialProvider;
  return smartCard ? CLSID_KuvSmartCardCredProv : CLSID_KuvCredProv;
}

void LogCredential(const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION& credential) {
  if (!IsLogLevelEnabled(LogLevel::Debug)) return;
  const Kuv::GuidText provider{credential.clsidCredentialProvider};
  if (!provider) return;
  KUV_LOG(
      LogLevel::Debug,
      L"CKuvCredFilter::UpdateRemoteCredential ulAuthenticationPackage %d guidString %s cbSerialization %d",
      static_cast<int>(credential.ulAuthenticationPackage), provider.Get(),
      static_cast<int>(credential.cbSerialization));
}

// Returns whether the credential may go to its own provider. Fails open: also true if the list cannot be
// built.
bool MayPass(const GUID& provider) {
  try {
    if (!IsAllowed(GetAllowedProviders(), provider)) return false;
    KUV_LOG(LogLevel::Debug,
            "CKuvCredFilter::UpdateRemoteCredential Exit NOTIMPL: Ignore whitelisted providers.");
  } catch (const std::exception& exception) {
    KUV_LOG(LogLevel::Debug, "CKuvCredFilter::UpdateRemoteCredential Exit NOTIMPL: %s", exception.what());
  }
  return true;
}

}  // namespace

HRESULT CKuvCredFilter::UpdateRemoteCredential(const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION* pcpcsIn,
                                               CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION* pcpcsOut) {
  KUV_LOG(LogLevel::Trace, "Entering %s", "CKuvCredFilter::UpdateRemoteCredential");
  if (pcpcsIn == nullptr || pcpcsIn->cbSerialization == 0 || pcpcsIn->rgbSerialization == nullptr) {
    KUV_LOG(LogLevel::Debug, "CKuvCredFilter::UpdateRemoteCredential Exit NOTIMPL: invalid params");
    return E_NOTIMPL;
  }
  LogCredential(*pcpcsIn);
  if (MayPass(pcpcsIn->clsidCredentialProvider)) return E_NOTIMPL;

  // Read once: the caller owns the record, and a change by another thread must not overflow the copy.
  const BYTE* const bytes = pcpcsIn->rgbSerialization;
  const ULONG size = pcpcsIn->cbSerialization;
  pcpcsOut->clsidCredentialProvider = RedirectionTarget(pcpcsIn->clsidCredentialProvider);
  pcpcsOut->ulAuthenticationPackage = pcpcsIn->ulAuthenticationPackage;
  pcpcsOut->cbSerialization = size;
  if (size == 0) {
    KUV_LOG(LogLevel::Debug, "CKuvCredFilter::UpdateRemoteCredential Exit NOTIMPL: No serialization data");
    return E_NOTIMPL;
  }
  pcpcsOut->rgbSerialization = static_cast<BYTE*>(::CoTaskMemAlloc(size));
  if (pcpcsOut->rgbSerialization == nullptr) {
    KUV_LOG(LogLevel::Error, "CKuvCredFilter::UpdateRemoteCredential Exit OUTOFMEMORY");
    return E_OUTOFMEMORY;
  }
  std::memcpy(pcpcsOut->rgbSerialization, bytes, size);
  return S_OK;
}
