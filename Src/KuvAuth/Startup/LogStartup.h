#pragma once

#include <string>

/// @file
/// Start and end of the main log.

/// Creates the main log, unless there is one: a debugger handler, and a handler for the file
/// `fileName` or, if that is empty, for kuv.log in the protected application data folder. The file is
/// rotated first by the settings `LogFileMaxSizeMB` (1 to 4,096) and `LogFileMaxCount` (up to 100);
/// 0 for either means never. Returns true if a log was in place or the file could be opened; without
/// the file the log is installed with the debugger handler alone. Throws only `std::bad_alloc`.
bool StartLogging(const std::wstring& fileName);

/// Flushes the main log and takes it down.
void StopLogging();
