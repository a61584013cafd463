#pragma once

#include <cstdint>

namespace Kuv {

/// The scenario flag of an elevation prompt that lists administrators: `CREDUIWIN_ENUMERATE_ADMINS` of the
/// platform, together with `CPUS_CREDUI`.
inline constexpr std::uint32_t kElevationPrompt = 0x100;

}  // namespace Kuv

/// Returns the name of a usage scenario, for example "CPUS_LOGON"; "<unknown>" for an undefined value.
const char* UsageScenarioName(std::uint32_t scenario) noexcept;

/// The kind of logon of a usage scenario: 0 unknown, 1 local, 2 remote, 3 elevation; any other value is
/// invalid.
struct LogonType {
  std::int32_t value;
};

/// Returns the kind of logon of a scenario. For logon, unlock and change of password, it depends on the
/// session (`Kuv::Util::IsRemoteSession`).
LogonType LogonTypeFromScenario(std::uint32_t scenario);

/// Returns the text of a kind of logon: "unknown", "Local", "RDP", "Elevation" or "invalid".
const char* LogonTypeName(LogonType type) noexcept;
