#pragma once

#include <cstdint>
#include <string>

/// @file
/// The enumerations of settings.

/// The form in which a user's name is sent to the service.
enum class UsernameFormat : std::uint32_t {
  SAM = 0,   ///< "SAM"
  NTLM = 1,  ///< "NTLM", the default
  UPN = 2,   ///< "UPN"
};

/// The usage scenarios in which the second factor is required.
enum class ElevationProtectionMode : std::uint32_t {
  LogonOnly = 0,          ///< logon, unlock and change of password
  ElevationOnly = 1,      ///< the elevation prompt
  LogonAndElevation = 2,  ///< both
};

/// Returns the name of a format, "SAM", "NTLM" or "UPN"; "Unknown" for any other value.
std::string UsernameFormatName(UsernameFormat format);

/// Returns the format of a registry value. Logs a number above 2 at `Warning` and returns NTLM for it.
UsernameFormat UsernameFormatFromValue(std::uint32_t value);

/// Returns the format of a name; the comparison is case-sensitive. Logs any other text at `Warning` and
/// returns NTLM for it.
UsernameFormat UsernameFormatFromName(const std::string& name);

/// Returns the mode of a registry value; `LogonOnly` for a number above 2.
ElevationProtectionMode ElevationProtectionModeFromValue(std::uint32_t value) noexcept;
