#pragma once

/// @file
/// The two registry keys of the settings, below `HKEY_LOCAL_MACHINE`. A value in the policy key takes
/// precedence over the same value in the local key.

/// The key of the local settings.
inline constexpr char LocalKeyPath[] = "Software\\Kuvant\\KuvCredProv";
/// The key of the policy settings.
inline constexpr char PolicyKeyPath[] = "Software\\Policies\\Kuvant\\KuvCredProv";
