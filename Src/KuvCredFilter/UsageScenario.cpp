#include "KuvCredFilter/UsageScenario.h"

#include "KuvAuth/Support/RemoteSession.h"
#include "KuvCredFilter/CredentialProviderApi.h"

const char* UsageScenarioName(std::uint32_t scenario) noexcept {
  switch (scenario) {
    case CPUS_INVALID:
      return "CPUS_INVALID";
    case CPUS_LOGON:
      return "CPUS_LOGON";
    case CPUS_UNLOCK_WORKSTATION:
      return "CPUS_UNLOCK_WORKSTATION";
    case CPUS_CHANGE_PASSWORD:
      return "CPUS_CHANGE_PASSWORD";
    case CPUS_CREDUI:
      return "CPUS_CREDUI";
    case CPUS_PLAP:
      return "CPUS_PLAP";
    default:
      return "<unknown>";
  }
}

LogonType LogonTypeFromScenario(std::uint32_t scenario) {
  switch (scenario) {
    case CPUS_LOGON:
    case CPUS_UNLOCK_WORKSTATION:
    case CPUS_CHANGE_PASSWORD:
      return {Kuv::Util::IsRemoteSession() ? 2 : 1};
    case CPUS_CREDUI:
      return {3};
    case CPUS_INVALID:
    case CPUS_PLAP:
      return {-1};
    default:
      return {0};
  }
}

const char* LogonTypeName(LogonType type) noexcept {
  switch (type.value) {
    case 0:
      return "unknown";
    case 1:
      return "Local";
    case 2:
      return "RDP";
    case 3:
      return "Elevation";
    default:
      return "invalid";
  }
}
