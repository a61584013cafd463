#pragma once

#include <cstdint>

namespace Kuv {

/// The scenario flag of an elevation prompt that lists administrators: `CREDUIWIN_ENUMERATE_ADMINS` of the
/// platform, together with `CPUS_CREDUI`.
inline constexpr std::uint32_t kElevationPrompt = 0x100;

}  // namespace Kuv

/// Gives the platform's name of a usage scenario, "CPUS_LOGON" for example; "<unknown>" for a value
/// beyond its list.
const char* UsageScenarioName(std::uint32_t scenario) noexcept;

/// The kind of logon that a usage scenario stands for: 0 unknown, 1 local, 2 remote, 3 elevation; any
/// other value is invalid.
struct LogonType {
  std::int32_t value;
};

/// Gives the kind of logon of a scenario; for logon, unlock and change of password by the session's
/// kind (`Kuv::Util::IsRemoteSession`).
LogonType LogonTypeFromScenario(std::uint32_t scenario);

/// Gives the text of a kind of logon: "unknown", "Local", "RDP", "Elevation" or "invalid".
const char* LogonTypeName(LogonType type) noexcept;
