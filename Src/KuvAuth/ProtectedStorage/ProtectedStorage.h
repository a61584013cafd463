#pragma once

#include <string>

/// @file
/// The application data and the settings, kept for administrators.

/// Gives the full path of a file in the folder "Kuvant" of the common application data, after creating
/// that folder with the administrators-only descriptor or applying the descriptor to it again. Returns
/// an empty string, with the reason logged, if the folder cannot be found or made; one that exists but
/// cannot be protected is logged and used. The file itself is not looked at.
std::wstring GetAppDataFilePath(const std::wstring& fileName);

/// Applies the administrators-only descriptor to the two settings keys (`LocalKeyPath`, `PolicyKeyPath`).
/// Returns true only if both were protected; a failure is logged.
bool ProtectSettingsKeys();
