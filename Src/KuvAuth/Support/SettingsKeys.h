#pragma once

/// The two keys of the settings, below `HKEY_LOCAL_MACHINE`. A value in the policy key wins over the
/// same value in the local key.
inline constexpr char LocalKeyPath[] = "Software\\Kuvant\\KuvCredProv";
inline constexpr char PolicyKeyPath[] = "Software\\Policies\\Kuvant\\KuvCredProv";
