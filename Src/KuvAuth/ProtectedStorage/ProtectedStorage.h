#pragma once

#include <string>

/// @file
/// Functions that restrict the application data folder and the settings keys to administrators. Implemented
/// in ProtectedFolder.cpp and ProtectedKeys.cpp.

/// Returns the full path of a file in the folder "Kuvant" of the common application data. Creates that folder
/// with the administrator-only descriptor (`CSecurityDescriptor`) or, if it exists, applies the descriptor to
/// it; a failure to apply it is logged and the folder is used. Returns an empty string and logs the reason if
/// the path of the folder is unavailable or the folder cannot be created. Does not access the file.
[[nodiscard]] std::wstring GetAppDataFilePath(const std::wstring& fileName);

/// Applies the administrator-only descriptor to the two settings keys (`LocalKeyPath`, `PolicyKeyPath`).
/// Returns whether both were protected. Logs a failure, unless the policy key cannot be opened.
bool ProtectSettingsKeys();
