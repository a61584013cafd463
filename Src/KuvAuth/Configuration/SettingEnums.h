#pragma once

#include <cstdint>
#include <string>

/// @file
/// Settings that are one of a few words.

/// How the service is told a user's name.
enum class UsernameFormat : std::uint32_t {
  SAM = 0,   ///< "SAM"
  NTLM = 1,  ///< "NTLM", the default
  UPN = 2,   ///< "UPN"
};

/// Which usage scenarios the second factor protects.
enum class ElevationProtectionMode : std::uint32_t {
  LogonOnly = 0,          ///< logon, unlock and change of password
  ElevationOnly = 1,      ///< the elevation prompt
  LogonAndElevation = 2,  ///< both
};

/// Gives the name of a format, "SAM", "NTLM" or "UPN"; "Unknown" for any other value.
std::string UsernameFormatName(UsernameFormat format);

/// Gives the format of a stored number. Any number above 2 is logged at `Warning` and counts as NTLM.
UsernameFormat UsernameFormatFromValue(std::uint32_t value);

/// Gives the format of a name, compared exactly and with case. Any other text is logged at `Warning`
/// and counts as NTLM.
UsernameFormat UsernameFormatFromName(const std::string& name);

/// Gives the mode of a stored number. Any number above 2 counts as `LogonOnly`.
ElevationProtectionMode ElevationProtectionModeFromValue(std::uint32_t value) noexcept;
