#pragma once

#include <cstdint>

/// @file
/// The levels of the log and the record of a log call.

/// The severity of a line; a higher number is more severe. Other numbers are valid as well: a line is written
/// if its level is at or above `Kuv::LogSystem::minLevel`.
enum class LogLevel : std::int32_t {
  Trace = 1,     ///< every step
  Debug = 2,     ///< details for a developer
  Info = 3,      ///< details for an administrator
  Warning = 4,   ///< unexpected, but handled
  Error = 5,     ///< an operation failed
  Critical = 6,  ///< the process cannot do its work
};

/// The level of the plain log: it has no name and no tag, and it passes every filter.
inline constexpr LogLevel LogLevelPlain{7};

/// Level and source location of a log call.
struct LogRecord {
  LogLevel level;      ///< level of the line
  const char* file;    ///< source file, a literal that the record does not own
  std::uint32_t line;  ///< line in the source file
};

/// Returns the name of a level from 1 to 6, "Trace" to "Critical"; an empty text for any other value.
const wchar_t* LogLevelName(LogLevel level) noexcept;
