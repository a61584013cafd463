#include <exception>

#include "KuvAuth/Configuration/KuvAuthConfig.h"
#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Support/RemoteSession.h"
#include "KuvCredFilter/AllowedProviders.h"
#include "KuvCredFilter/KuvCredFilter.h"
#include "KuvCredFilter/UsageScenario.h"

namespace {

// Set in `dwFlags` when the credential UI stands for an elevation prompt that lists administrators
// (CREDUIWIN_ENUMERATE_ADMINS).
constexpr DWORD kElevationPrompt = 0x100;

enum class Outcome {
  Supported,    ///< only the allowed list stays
  Unsupported,  ///< the second-factor providers go, all others stay
  Untouched,
};

bool FindKuvProvider(BoundedArray<const GUID> providers) {
  for (std::uint64_t i = 0; i < providers.Count(); ++i) {
    KUV_LOG(LogLevel::Debug, L"Filter scanning provider %s", GuidText{providers[i]}.Get());
    if (IsKuvProvider(providers[i])) return true;
  }
  KUV_LOG(LogLevel::Error, "Kuv Credential Provider not found. Filter permitting all.");
  return false;
}

Outcome DecideLogon(std::uint32_t scenario, ElevationProtectionMode mode) {
  if (mode == ElevationProtectionMode::ElevationOnly) {
    KUV_LOG(LogLevel::Info, "Kuv is configured to not protect logon {logonType: %s}.",
            LogonTypeName(LogonTypeFromScenario(scenario)));
    return Outcome::Untouched;
  }
  const bool remote = Kuv::Util::IsRemoteSession();
  KUV_LOG(LogLevel::Info, "%s", remote ? "Remote login session (RDP)" : "Local login session");
  const bool rdpOnly = IsRdpOnly();
  if (rdpOnly) KUV_LOG(LogLevel::Info, "Kuv is configured for RDP only login");
  return remote || !rdpOnly ? Outcome::Supported : Outcome::Unsupported;
}

Outcome DecideElevation(std::uint32_t scenario, DWORD flags, ElevationProtectionMode mode) {
  if (mode == ElevationProtectionMode::LogonOnly) return Outcome::Unsupported;
  if ((flags & kElevationPrompt) != 0) return Outcome::Supported;
  KUV_LOG(LogLevel::Debug, "UAC elevation does not support usage scenario %s with flags 0x%08X",
          UsageScenarioName(scenario), static_cast<unsigned>(flags));
  return Outcome::Unsupported;
}

Outcome Decide(std::uint32_t scenario, DWORD flags) {
  KUV_LOG(LogLevel::Debug, "Filter usage scenario %d/%s, flags=0x%08X", static_cast<int>(scenario),
          UsageScenarioName(scenario), static_cast<unsigned>(flags));
  const ElevationProtectionMode mode = GetElevationProtectionMode();
  switch (scenario) {
    case CPUS_LOGON:
    case CPUS_UNLOCK_WORKSTATION:
    case CPUS_CHANGE_PASSWORD:
      return DecideLogon(scenario, mode);
    case CPUS_CREDUI:
      return DecideElevation(scenario, flags, mode);
    default:
      KUV_LOG(LogLevel::Debug, "Usage scenario %d/%s not supported", static_cast<int>(scenario),
              UsageScenarioName(scenario));
      return Outcome::Unsupported;
  }
}

void FilterProviders(std::uint32_t scenario, DWORD flags, BoundedArray<const GUID> providers,
                     BoundedArray<BOOL> allow) {
  if (!FindKuvProvider(providers)) return;
  const AllowedProviderList allowed = GetAllowedProviders();
  for (const GUID& provider : allowed) {
    KUV_LOG(LogLevel::Debug, L"Whitelisted provider %s", GuidText{provider}.Get());
  }
  switch (Decide(scenario, flags)) {
    case Outcome::Supported:
      KUV_LOG(LogLevel::Info, "Usage scenario %d/%s supported", static_cast<int>(scenario),
              UsageScenarioName(scenario));
      EnableAllowedProviders(providers, allow, allowed);
      break;
    case Outcome::Unsupported:
      DisableKuvProviders(providers, allow);
      break;
    case Outcome::Untouched:
      break;
  }
}

// The whole report, its warning included, is for the Debug level.
void ReportFlags(BoundedArray<const GUID> providers, BoundedArray<BOOL> allow) {
  if (!IsLogLevelEnabled(LogLevel::Debug)) return;
  bool anyEnabled = false;
  for (std::uint64_t i = 0; i < providers.Count(); ++i) {
    const bool enabled = allow[i] != FALSE;
    anyEnabled = anyEnabled || enabled;
    KUV_LOG(LogLevel::Debug, enabled ? L"Provider %s is ENABLED." : L"Provider %s is DISABLED.",
            GuidText{providers[i]}.Get());
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
  try {
    FilterProviders(static_cast<std::uint32_t>(cpus), dwFlags, providers, allow);
  } catch (const std::exception& exception) {
    // The quote that is opened here is never closed.
    KUV_LOG(LogLevel::Error, "Filter encountered an exception. '%s", exception.what());
    DisableKuvProviders(providers, allow);
  }
  ReportFlags(providers, allow);
  return S_OK;
}
