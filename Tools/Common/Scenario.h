#pragma once

#include <array>
#include <string_view>

#include "KuvCredFilter/CredentialProviderApi.h"
#include "KuvCredFilter/UsageScenario.h"

namespace Tools {

/// A usage scenario, with its name in the tools and the flags that the logon process passes.
struct Scenario {
  std::string_view name;
  CREDENTIAL_PROVIDER_USAGE_SCENARIO usage;
  DWORD flags;
};

inline constexpr std::array<Scenario, 6> kScenarios{{
    {"logon", CPUS_LOGON, 0},
    {"unlock", CPUS_UNLOCK_WORKSTATION, 0},
    {"change-password", CPUS_CHANGE_PASSWORD, 0},
    {"credui", CPUS_CREDUI, 0},
    {"elevation", CPUS_CREDUI, Kuv::kElevationPrompt},
    {"plap", CPUS_PLAP, 0},
}};

}  // namespace Tools
