#pragma once

#include <cstddef>
#include <cstdint>

#include "KuvAuth/Logging/LogLevel.h"
#include "KuvAuth/Logging/LogMessage.h"

/// @file
/// The form of a log line.

/// Writes the prefix of a line to the buffer: local time, process and thread; with `withLocation` the source
/// file and line; for a level below 7 its name in brackets. Returns the length in units.
std::size_t FormatLinePrefix(wchar_t (&buffer)[Kuv::kLogLineCapacity], const char* file, std::uint32_t line,
                             LogLevel level, bool withLocation);

/// Formats into the buffer, truncated to `capacity` - 1 units and terminated by a NUL. Returns the units
/// written, `capacity` - 1 on truncation, or 0 if the buffer or the format is null or the capacity is 0.
std::size_t AppendFormat(wchar_t* buffer, std::size_t capacity, const wchar_t* format, ...);

/// Converts UTF-8 to UTF-16 with one bound for both sides: the smaller of `capacity` (in units, including the
/// NUL) and the units needed limits the bytes read as well as the units written. Truncates ASCII text to
/// `capacity` - 1 units and longer sequences to fewer characters. Returns the units written, including the
/// NUL; 0 on failure, with a destination of zeros.
int Utf8ToWideBuffer(wchar_t* destination, int capacity, const char* text) noexcept;

namespace Kuv {

/// Writes a complete line to the buffer, prefix, message and line end. The buffer must be zero, and stays so
/// after the text. For `message` and `length` see `WriteLine`.
void FormatLine(wchar_t (&buffer)[kLogLineCapacity], const LogRecord& record, bool withLocation,
                const char* message, std::size_t length);
/// @overload
void FormatLine(wchar_t (&buffer)[kLogLineCapacity], const LogRecord& record, bool withLocation,
                const wchar_t* message, std::size_t length);

}  // namespace Kuv
