#include "KuvCredFilter/Decision.h"

#include <exception>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvCredFilter/CredentialProviderApi.h"
#include "KuvCredFilter/UsageScenario.h"

namespace Kuv {

namespace {

bool FindKuvProvider(BoundedArray<const GUID> providers) {
  for (std::uint64_t i = 0; i < providers.Count(); ++i) {
    KUV_LOG(LogLevel::Debug, L"Filter scanning provider %s", GuidText{providers[i]}.Get());
    if (IsKuvProvider(providers[i])) return true;
  }
  KUV_LOG(LogLevel::Error, "Kuv Credential Provider not found. Filter permitting all.");
  return false;
}

Decision DecideLogon(std::uint32_t scenario, ElevationProtectionMode mode, const DecisionFacts& facts) {
  if (mode == ElevationProtectionMode::ElevationOnly) {
    // The message determines the kind of session separately; the decision does not depend on it.
    KUV_LOG(LogLevel::Info, "Kuv is configured to not protect logon {logonType: %s}.",
            LogonTypeName(LogonTypeFromScenario(scenario)));
    return {Outcome::Untouched, DecidedBy::ElevationProtectionMode};
  }
  const bool remote = facts.isRemoteSession();
  KUV_LOG(LogLevel::Info, "%s", remote ? "Remote login session (RDP)" : "Local login session");
  const bool rdpOnly = facts.isRdpOnly();
  if (rdpOnly) KUV_LOG(LogLevel::Info, "Kuv is configured for RDP only login");
  if (rdpOnly && !remote) return {Outcome::Unsupported, DecidedBy::RdpOnly};
  return {Outcome::Supported, DecidedBy::ElevationProtectionMode};
}

Decision DecideCredentialUi(std::uint32_t scenario, DWORD flags, ElevationProtectionMode mode) {
  const bool elevationProtected = mode != ElevationProtectionMode::LogonOnly;
  if ((flags & kElevationPrompt) != 0) {
    return {elevationProtected ? Outcome::Supported : Outcome::Unsupported,
            DecidedBy::ElevationProtectionMode};
  }
  if (elevationProtected) {
    KUV_LOG(LogLevel::Debug, "UAC elevation does not support usage scenario %s with flags 0x%08X",
            UsageScenarioName(scenario), static_cast<unsigned>(flags));
  }
  return {Outcome::Unsupported, DecidedBy::UsageScenario};
}

Decision DecideAndWrite(std::uint32_t scenario, DWORD flags, BoundedArray<const GUID> providers,
                        BoundedArray<BOOL> allow, const DecisionFacts& facts) {
  if (!FindKuvProvider(providers)) return {Outcome::Untouched, DecidedBy::KuvProvider};
  const AllowedProviderList allowed = facts.allowedProviders();
  for (const GUID& provider : allowed) {
    KUV_LOG(LogLevel::Debug, L"Whitelisted provider %s", GuidText{provider}.Get());
  }
  const Decision decision = DecideScenario(scenario, flags, facts);
  switch (decision.outcome) {
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
  return decision;
}

}  // namespace

Decision DecideScenario(std::uint32_t scenario, DWORD flags, const DecisionFacts& facts) {
  KUV_LOG(LogLevel::Debug, "Filter usage scenario %d/%s, flags=0x%08X", static_cast<int>(scenario),
          UsageScenarioName(scenario), static_cast<unsigned>(flags));
  // Read for every scenario, even if it does not affect the outcome.
  const ElevationProtectionMode mode = facts.elevationProtectionMode();
  switch (scenario) {
    case CPUS_LOGON:
    case CPUS_UNLOCK_WORKSTATION:
    case CPUS_CHANGE_PASSWORD:
      return DecideLogon(scenario, mode, facts);
    case CPUS_CREDUI:
      return DecideCredentialUi(scenario, flags, mode);
    default:
      KUV_LOG(LogLevel::Debug, "Usage scenario %d/%s not supported", static_cast<int>(scenario),
              UsageScenarioName(scenario));
      return {Outcome::Unsupported, DecidedBy::UsageScenario};
  }
}

Decision FilterProviders(std::uint32_t scenario, DWORD flags, BoundedArray<const GUID> providers,
                         BoundedArray<BOOL> allow, const DecisionFacts& facts) {
  try {
    return DecideAndWrite(scenario, flags, providers, allow, facts);
  } catch (const std::exception& exception) {
    // The missing closing quote is part of the required text.
    KUV_LOG(LogLevel::Error, "Filter encountered an exception. '%s", exception.what());
    DisableKuvProviders(providers, allow);
    return {Outcome::Unsupported, DecidedBy::Failure};
  }
}

}  // namespace Kuv
