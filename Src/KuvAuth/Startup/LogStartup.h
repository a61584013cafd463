#pragma once

#include <string>

/// @file
/// Start and stop of the main log.

/// Creates the main log, unless it exists, with a handler for the debugger and a handler for the file
/// `fileName` or, if that is empty, for kuv.log in the protected application data folder. Rotates the file
/// first by the settings `LogFileMaxSizeMB` (1 to 4,096 MB) and `LogFileMaxCount` (at most 100); 0 for either
/// disables rotation. Returns whether the log existed or the file was opened. If the file cannot be opened,
/// the log has the handler for the debugger only. Throws only `std::bad_alloc`.
bool StartLogging(const std::wstring& fileName);

/// Flushes and destroys the main log.
void StopLogging();
