#pragma once

#include <cstddef>
#include <cstdint>

#include "KuvAuth/Logging/LogLevel.h"
#include "KuvAuth/Logging/LogMessage.h"

/// Writes the prefix of a line into the buffer: local time, process, thread, with `withLocation` the
/// source file and line, and below level 7 the level's name in brackets. Returns its length in units.
std::size_t FormatLinePrefix(wchar_t (&buffer)[kLogLineCapacity], const char* file, std::uint32_t line,
                             LogLevel level, bool withLocation);

/// Formats into the buffer, cut to `capacity` - 1 units and ended by a NUL. Returns the units written;
/// on truncation `capacity` - 1; with a null buffer or format or a capacity of 0, 0.
std::size_t AppendFormat(wchar_t* buffer, std::size_t capacity, const wchar_t* format, ...);

/// Bounded conversion of UTF-8 to UTF-16 with one bound for both sides: the smaller of `capacity` (in
/// units, NUL included) and the units needed limits the bytes read as well as the units written. So
/// ASCII text is cut at `capacity` - 1, and text with longer sequences loses its tail. Returns the
/// units written, NUL included; 0 on failure.
int Utf8ToWideBuffer(wchar_t* destination, int capacity, const char* text) noexcept;

/// Makes a whole line, NUL-ended, from prefix, message and line end.
void FormatLine(wchar_t (&buffer)[kLogLineCapacity], LogLevel level, const char* file, std::uint32_t line,
                bool withLocation, const char* text);
void FormatLine(wchar_t (&buffer)[kLogLineCapacity], LogLevel level, const char* file, std::uint32_t line,
                bool withLocation, const wchar_t* text);
