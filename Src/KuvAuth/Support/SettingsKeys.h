#pragma once

/// @file
/// The two keys of the settings, below `HKEY_LOCAL_MACHINE`. A value in the policy key wins over the
/// same value in the local key.

/// The local settings of the machine.
inline constexpr char LocalKeyPath[] = "Software\\Kuvant\\KuvCredProv";
/// The settings of group policy.
inline constexpr char PolicyKeyPath[] = "Software\\Policies\\Kuvant\\KuvCredProv";
