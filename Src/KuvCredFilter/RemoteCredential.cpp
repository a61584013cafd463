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
    const AllowedProviderList allowed = GetAllowedProviders();
    if (!IsAllowed(allowed, provider)) return false;
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
  // Copied once, as a whole: the caller owns the record, so a second look could differ from the first.
  const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION credential =
      pcpcsIn != nullptr ? *pcpcsIn : CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION{};
  if (credential.cbSerialization == 0 || credential.rgbSerialization == nullptr) {
    KUV_LOG(LogLevel::Debug, "CKuvCredFilter::UpdateRemoteCredential Exit NOTIMPL: invalid params");
    return E_NOTIMPL;
  }
  LogCredential(credential);
  if (MayPass(credential.clsidCredentialProvider)) return E_NOTIMPL;

  pcpcsOut->clsidCredentialProvider = RedirectionTarget(credential.clsidCredentialProvider);
  pcpcsOut->ulAuthenticationPackage = credential.ulAuthenticationPackage;
  pcpcsOut->cbSerialization = credential.cbSerialization;
  // Never true, because the copy of the record cannot change; the check is required all the same. No test can
  // run it, so it does not count for the coverage. GCOVR_EXCL_START
  if (credential.cbSerialization == 0) {
    KUV_LOG(LogLevel::Debug, "CKuvCredFilter::UpdateRemoteCredential Exit NOTIMPL: No serialization data");
    return E_NOTIMPL;
  }
  // GCOVR_EXCL_STOP
  pcpcsOut->rgbSerialization = static_cast<BYTE*>(::CoTaskMemAlloc(credential.cbSerialization));
  if (pcpcsOut->rgbSerialization == nullptr) {
    KUV_LOG(LogLevel::Error, "CKuvCredFilter::UpdateRemoteCredential Exit OUTOFMEMORY");
    return E_OUTOFMEMORY;
  }
  std::memcpy(pcpcsOut->rgbSerialization, credential.rgbSerialization, credential.cbSerialization);
  return S_OK;
}
