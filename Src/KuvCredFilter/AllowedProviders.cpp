#include "KuvCredFilter/AllowedProviders.h"

#include <algorithm>
#include <stdexcept>

#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Support/WindowsVersion.h"
#include "KuvCredFilter/Identifiers.h"

namespace {

// Windows 8 (6.2) introduced a new smart card provider.
const CLSID& PlatformSmartCardProvider() {
  return Kuv::IsAtLeastWindows(6, 2) ? CLSID_SmartcardCredentialProvider
                                     : CLSID_V1SmartcardCredentialProvider;
}

}  // namespace

bool IsKuvProvider(const GUID& provider) noexcept {
  return provider == CLSID_KuvCredProv || provider == CLSID_KuvSmartCardCredProv;
}

bool IsAllowed(const AllowedProviderList& allowed, const GUID& provider) noexcept {
  return std::find(allowed.begin(), allowed.end(), provider) != allowed.end();
}

AllowedProviderList GetAllowedProviders() {
  if (!EnsureConfigurationLoaded()) throw std::runtime_error{"Filter unable to load Kuv configuration"};
  const Configuration& configuration = *GetConfiguration();
  AllowedProviderList allowed = configuration.ProvidersWhitelist;
  allowed.push_back(CLSID_KuvCredProv);
  if (configuration.EnableSmartCards) {
    allowed.push_back(configuration.WrapSmartCards ? CLSID_KuvSmartCardCredProv
                                                   : PlatformSmartCardProvider());
  }
  return allowed;
}

void EnableAllowedProviders(BoundedArray<const GUID> providers, BoundedArray<BOOL> allow,
                            const AllowedProviderList& allowed) {
  KUV_LOG(LogLevel::Info, "Enabling Kuv and whitelisted Credential Providers");
  for (std::uint64_t i = 0; i < providers.Count(); ++i)
    allow[i] = IsAllowed(allowed, providers[i]) ? TRUE : FALSE;
}

void DisableKuvProviders(BoundedArray<const GUID> providers, BoundedArray<BOOL> allow) {
  KUV_LOG(LogLevel::Info, "Disabling Kuv Credential Provider");
  for (std::uint64_t i = 0; i < providers.Count(); ++i) allow[i] = IsKuvProvider(providers[i]) ? FALSE : TRUE;
}
