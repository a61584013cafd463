#include "KuvAuth/Configuration/KuvAuthConfig.h"
#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Support/RemoteSession.h"
#include "KuvCredFilter/Decision.h"
#include "KuvCredFilter/KuvCredFilter.h"

namespace {

constexpr Kuv::DecisionFacts kSystemFacts{GetAllowedProviders, GetElevationProtectionMode,
                                          Kuv::Util::IsRemoteSession, IsRdpOnly};

// Logs nothing, not even the warning, unless the level Debug is enabled.
void ReportFlags(BoundedArray<const GUID> providers, BoundedArray<BOOL> allow) {
  if (!IsLogLevelEnabled(LogLevel::Debug)) return;
  bool anyEnabled = false;
  for (std::uint64_t i = 0; i < providers.Count(); ++i) {
    const bool enabled = allow[i] != FALSE;
    anyEnabled = anyEnabled || enabled;
    KUV_LOG(LogLevel::Debug, enabled ? L"Provider %s is ENABLED." : L"Provider %s is DISABLED.",
            Kuv::GuidText{providers[i]}.Get());
  }
  if (!anyEnabled) KUV_LOG(LogLevel::Warning, "No providers enabled!");
}

}  // namespace

HRESULT CKuvCredFilter::Filter(CREDENTIAL_PROVIDER_USAGE_SCENARIO cpus, DWORD dwFlags, GUID* rgclsidProviders,
                               BOOL* rgbAllow, DWORD cProviders) {
  KUV_LOG(LogLevel::Trace, "Entering %s", "CKuvCredFilter::Filter");
  if (rgclsidProviders == nullptr || rgbAllow == nullptr || cProviders == 0) {
    KUV_LOG(LogLevel::Info,
            "Filter exiting due to invalid param clsidProviders %d/bAllow %d/provider count %d",
            rgclsidProviders == nullptr ? 1 : 0, rgbAllow == nullptr ? 1 : 0, static_cast<int>(cProviders));
    return E_INVALIDARG;
  }
  const BoundedArray<const GUID> providers{rgclsidProviders, cProviders};
  const BoundedArray<BOOL> allow{rgbAllow, cProviders};
  Kuv::FilterProviders(static_cast<std::uint32_t>(cpus), dwFlags, providers, allow, kSystemFacts);
  ReportFlags(providers, allow);
  return S_OK;
}
