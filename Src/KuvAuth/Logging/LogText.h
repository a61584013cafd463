#pragma once

#include "KuvAuth/Logging/LogLevel.h"

/// @file
/// Texts of any length in the log.

/// Writes a text of any length to the main log, with no prefix, and a line end if it has none. A null
/// or empty text and a filtered level write nothing.
void LogText(LogLevel level, const char* text);
/// @overload
void LogText(LogLevel level, const wchar_t* text);
