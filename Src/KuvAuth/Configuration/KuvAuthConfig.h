#pragma once

#include <cstdint>
#include <string>

#include "KuvAuth/Configuration/SettingEnums.h"

/// @file
/// Settings that are looked up at the moment they are needed. Each call reads the registry, the policy
/// key before the local one; the first acceptable value wins. A key that cannot be opened and a value
/// that is missing, of another type or too long are the same as absent, and nothing is logged. Any
/// thread may call.

/// Gives a `REG_DWORD` setting of exactly 4 bytes, or the default.
std::uint32_t GetDwordSetting(const char* name, std::uint32_t defaultValue);

/// Reads a non-empty `REG_SZ` setting of at most 1,024 bytes, up to its first NUL, as it stands.
/// Returns false, with `text` untouched, if there is none.
bool TryGetStringSetting(const char* name, std::string& text);

/// Gives a text setting (see `TryGetStringSetting`), or the default.
std::string GetStringSetting(const char* name, const std::string& defaultValue);

/// Gives a flag setting: true for a stored number of exactly 1, unlike the flags of `Configuration`,
/// for which any number but 0 is true.
bool GetBoolSetting(const char* name, bool defaultValue);

/// Whether only remote logons are protected (setting `RdpOnly`, default no).
bool IsRdpOnly();

/// Which scenarios are protected (setting `ElevationProtectionMode`, default and fallback `LogonOnly`).
ElevationProtectionMode GetElevationProtectionMode();
