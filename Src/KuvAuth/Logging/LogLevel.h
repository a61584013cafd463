#pragma once

#include <cstdint>

/// How severe a line is; a higher number is more severe. Any other number is a valid value too: at or
/// above a system's `minLevel` it passes.
enum class LogLevel : std::int32_t { Trace = 1, Debug = 2, Info = 3, Warning = 4, Error = 5, Critical = 6 };

/// The level of the plain log: it has no name, shows no tag and passes every filter.
inline constexpr LogLevel LogLevelPlain{7};

/// What the caller of a log function knows of the call. Lives on the caller's stack.
struct LogRecord {
  LogLevel level;
  const char* file;  ///< source file, a literal that the record does not own
  std::uint32_t line;
};

/// Gives the name of the levels 1 to 6, "Trace" to "Critical"; an empty text for any other value.
const wchar_t* LogLevelName(LogLevel level) noexcept;
