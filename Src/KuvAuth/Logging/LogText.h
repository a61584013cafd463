#pragma once

#include "KuvAuth/Logging/LogLevel.h"

/// @file
/// Unformatted text of any length in the log.

/// Writes a text of any length to the main log, without a prefix, and adds a line end if it has none. Does
/// nothing for a null or empty text or a filtered level.
void LogText(LogLevel level, const char* text);
/// @overload
void LogText(LogLevel level, const wchar_t* text);
