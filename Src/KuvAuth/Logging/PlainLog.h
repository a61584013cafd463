#pragma once

#include <memory>
#include <string>

#include "KuvAuth/Logging/LogFront.h"

/// @file
/// A second log, without prefixes.

/// The plain log, a second log whose lines carry no prefix; empty until `StartPlainLog`.
extern std::shared_ptr<Kuv::LogSystem> g_plainLog;

/// Creates the plain log on the file `path`, which is never rotated, unless there is one already.
/// Returns whether the plain log exists afterwards.
bool StartPlainLog(const std::wstring& path);

/// Flushes the plain log and takes it down.
void StopPlainLog();

/// Formats one line for the plain log, cut at 2,047 units, and ends it with carriage return and line
/// feed as far as they still fit. Without a plain log the call is dropped. The 8-bit text reaches the
/// file unchanged and is taken to be UTF-8.
void PlainLogFormat(const char* format, ...) KUV_PRINTF_FORMAT(1, 2);
/// @overload
void PlainLogFormat(const wchar_t* format, ...);
