#pragma once

#include <memory>
#include <string>

#include "KuvAuth/Logging/LogFront.h"

/// @file
/// A second log whose lines have no prefix.

/// The plain log; null until `StartPlainLog`.
extern std::shared_ptr<Kuv::LogSystem> g_plainLog;

/// Creates the plain log, unless it exists. It writes to the file `path`, which is never rotated, and to the
/// debugger. Returns whether the plain log exists afterwards.
bool StartPlainLog(const std::wstring& path);

/// Flushes and destroys the plain log.
void StopPlainLog();

/// Formats a message, truncates it to 2,047 units, appends carriage return and line feed as far as they fit
/// and writes the line to the plain log. Does nothing without a plain log. 8-bit text must be UTF-8; it is
/// written to the file unchanged.
void PlainLogFormat(const char* format, ...) KUV_PRINTF_FORMAT(1, 2);
/// @overload
void PlainLogFormat(const wchar_t* format, ...);
