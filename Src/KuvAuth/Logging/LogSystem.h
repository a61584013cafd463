#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "KuvAuth/Logging/LogHandlers.h"
#include "KuvAuth/Logging/LogLevel.h"
#include "KuvAuth/Support/CriticalSection.h"

/// @file
/// The log system behind the log calls.

namespace Kuv {

/// Turns a log call into one finished line and hands it to every handler, in the order in which they
/// were added, under its lock. Any thread may call. No operation reports a failure of logging; a
/// handler that throws does not keep the next one from its line.
class LogSystem {
 public:
  LogSystem() = default;
  LogSystem(const LogSystem&) = delete;
  LogSystem& operator=(const LogSystem&) = delete;
  ~LogSystem();

  /// Writes the line: time, process and thread, level, message, carriage return and line feed, 2,047
  /// units at most. A null text or a level below `minLevel` writes nothing. A long message is cut: an
  /// 8-bit one so that prefix and message hold 2,045 units, a 16-bit one earlier by the length of the
  /// prefix. An 8-bit message with bytes outside ASCII loses its tail (see `Utf8ToWideBuffer`).
  void Write(LogLevel level, const char* file, std::uint32_t line, const char* text);
  /// @overload
  void Write(LogLevel level, const char* file, std::uint32_t line, const wchar_t* text);

  /// Hands the text over as it stands, with no prefix and no line end.
  void WriteRaw(LogLevel level, const char* text);
  /// @overload
  void WriteRaw(LogLevel level, const wchar_t* text);

  /// As `WriteRaw`, whatever the level.
  void WriteUnfiltered(LogLevel level, const char* text);
  /// @overload
  void WriteUnfiltered(LogLevel level, const wchar_t* text);

  /// Appends a handler, sharing its ownership; a null one is ignored. Throws `std::bad_alloc`.
  void AddHandler(const std::shared_ptr<ILogHandler>& handler);
  /// Removes every entry of this handler; a null one is ignored.
  void RemoveHandler(const std::shared_ptr<ILogHandler>& handler);
  /// Flushes every handler.
  void Flush();

  /// Whether a line of this level would be written.
  bool Passes(LogLevel level) const noexcept { return level >= minLevel; }

  LogLevel locationLevel{0};          ///< lines at or below it show their source file and line
  LogLevel minLevel{LogLevel::Info};  ///< lines below it are dropped; read without the lock
  CriticalSection lock{1000};         ///< guards `handlers`, held over the calls to them
  std::vector<std::shared_ptr<ILogHandler>> handlers;  ///< in the order of writing
};

}  // namespace Kuv
