#pragma once

#include <array>
#include <string_view>

#include "KuvCredFilter/CredentialProviderApi.h"

namespace FilterHost {

/// One question of the logon process: what it shows providers for, and the flags that it passes then.
struct Scenario {
  std::string_view name;
  CREDENTIAL_PROVIDER_USAGE_SCENARIO usage;
  DWORD flags;
};

/// The platform's CREDUIWIN_ENUMERATE_ADMINS: the credential UI stands for an elevation prompt.
inline constexpr DWORD kElevationPrompt = 0x100;

inline constexpr std::array<Scenario, 6> kScenarios{{
    {"logon", CPUS_LOGON, 0},
    {"unlock", CPUS_UNLOCK_WORKSTATION, 0},
    {"change-password", CPUS_CHANGE_PASSWORD, 0},
    {"credui", CPUS_CREDUI, 0},
    {"elevation", CPUS_CREDUI, kElevationPrompt},
    {"plap", CPUS_PLAP, 0},
}};

}  // namespace FilterHost
