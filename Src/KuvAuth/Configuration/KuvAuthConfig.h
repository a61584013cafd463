#pragma once

#include <cstdint>
#include <string>

#include "KuvAuth/Configuration/SettingEnums.h"

/// @file
/// Functions that read the current value of a setting from the registry: from the policy key or, if that has
/// no valid value, from the local key. A value is treated as absent if its key cannot be opened or if it has
/// another type or is too long. All functions are thread-safe and log nothing.

/// Returns a `REG_DWORD` setting of exactly 4 bytes, or the default.
std::uint32_t GetDwordSetting(const char* name, std::uint32_t defaultValue);

/// Reads a `REG_SZ` setting of 1 to 1,024 bytes with its NUL, up to the first NUL, in the ANSI code page of
/// the process (`RegQueryValueExA`), not in UTF-8. An empty text is a value: in the policy key it hides the
/// text of the local key. Returns false and does not change `text` if the setting is absent.
[[nodiscard]] bool TryGetStringSetting(const char* name, std::string& text);

/// Returns a text setting (see `TryGetStringSetting`), or the default.
std::string GetStringSetting(const char* name, const std::string& defaultValue);

/// Rejects a text or another pointer, which would convert to `bool`.
template <typename Pointee>
bool GetBoolSetting(const char* name, const Pointee* defaultValue) = delete;

/// Returns a flag setting: true if the number is exactly 1, unlike the flags of `Configuration`, which are
/// true for any number but 0.
bool GetBoolSetting(const char* name, bool defaultValue);

/// Returns whether the second factor is required in Remote Desktop sessions only (setting `RdpOnly`, default
/// false).
bool IsRdpOnly();

/// Returns the scenarios in which the second factor is required (setting `ElevationProtectionMode`, default
/// and fallback `LogonOnly`).
ElevationProtectionMode GetElevationProtectionMode();
