#pragma once

#include <cstdint>

/// @file
/// The levels of the log, and what a log function knows of its call.

/// How severe a line is; a higher number is more severe. Any other number is a valid value too: at or
/// above a system's `minLevel` it passes.
enum class LogLevel : std::int32_t {
  Trace = 1,     ///< every step
  Debug = 2,     ///< what a developer asks for
  Info = 3,      ///< what an administrator may want to know
  Warning = 4,   ///< odd, and got over
  Error = 5,     ///< an operation failed
  Critical = 6,  ///< the process cannot do its work
};

/// The level of the plain log: it has no name, shows no tag and passes every filter.
inline constexpr LogLevel LogLevelPlain{7};

/// What the caller of a log function knows of the call. Lives on the caller's stack.
struct LogRecord {
  LogLevel level;      ///< of the line
  const char* file;    ///< source file, a literal that the record does not own
  std::uint32_t line;  ///< line in that file
};

/// Gives the name of the levels 1 to 6, "Trace" to "Critical"; an empty text for any other value.
const wchar_t* LogLevelName(LogLevel level) noexcept;
