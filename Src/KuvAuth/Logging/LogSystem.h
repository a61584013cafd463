#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "KuvAuth/Logging/LogHandlers.h"
#include "KuvAuth/Logging/LogLevel.h"
#include "KuvAuth/Support/CriticalSection.h"

/// @file
/// The log system that log calls write to.

namespace Kuv {

/// Formats log calls as lines and passes each line to every handler, under its lock and in the order in which
/// they were added. Thread-safe. No operation reports a failure of logging; an exception from one handler
/// does not keep the line from the others.
class LogSystem {
 public:
  LogSystem() = default;
  LogSystem(const LogSystem&) = delete;
  LogSystem& operator=(const LogSystem&) = delete;
  ~LogSystem();

  /// Writes a line of at most 2,047 units: time, process and thread, level, message, carriage return and line
  /// feed. Does nothing for a null text or a level below `minLevel`. Truncates a long message: an 8-bit one
  /// so that prefix and message have 2,045 units, a 16-bit one earlier by the length of the prefix. An 8-bit
  /// message with bytes outside ASCII loses its tail (see `Utf8ToWideBuffer`).
  void Write(LogLevel level, const char* file, std::uint32_t line, const char* text);
  /// @overload
  void Write(LogLevel level, const char* file, std::uint32_t line, const wchar_t* text);

  /// Writes the text unchanged, without prefix and line end. Does nothing for a null text or a level below
  /// `minLevel`.
  void WriteRaw(LogLevel level, const char* text);
  /// @overload
  void WriteRaw(LogLevel level, const wchar_t* text);

  /// Does what `WriteRaw` does, at any level.
  void WriteUnfiltered(LogLevel level, const char* text);
  /// @overload
  void WriteUnfiltered(LogLevel level, const wchar_t* text);

  /// Appends a handler and shares its ownership. Ignores null. Throws `std::bad_alloc`.
  void AddHandler(const std::shared_ptr<ILogHandler>& handler);
  /// Removes every entry of this handler. Ignores null.
  void RemoveHandler(const std::shared_ptr<ILogHandler>& handler);
  /// Flushes every handler.
  void Flush();

  /// Returns whether a line of this level is written.
  bool Passes(LogLevel level) const noexcept { return level >= minLevel; }

  LogLevel locationLevel{0};          ///< lines at or below this level show their source file and line
  LogLevel minLevel{LogLevel::Info};  ///< lines below this level are dropped; read without the lock
  CriticalSection lock{1000};         ///< guards `handlers`; held during the calls to them
  std::vector<std::shared_ptr<ILogHandler>> handlers;  ///< in the order of the calls
};

}  // namespace Kuv
