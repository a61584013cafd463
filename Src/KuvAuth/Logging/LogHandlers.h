#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "KuvAuth/Logging/LogLevel.h"

/// @file
/// The destinations of log lines.

namespace Kuv {

/// Receives the finished text of a log system. A handler neither filters nor changes the text. Its log system
/// calls it under the lock, so it needs no further lock and must not log to that system.
struct ILogHandler {
#if defined(_MSC_VER)
  // Visual C++ reverses adjacent overloads in the virtual table, where the wide one comes first.
  virtual void LogWrite(LogLevel level, const char* text) = 0;
  virtual void LogWrite(LogLevel level, const wchar_t* text) = 0;
#else
  virtual void LogWrite(LogLevel level, const wchar_t* text) = 0;  ///< writes NUL-terminated UTF-16
  virtual void LogWrite(LogLevel level, const char* text) = 0;     ///< writes NUL-terminated UTF-8
#endif
  virtual void Flush() = 0;  ///< writes out buffered text

 protected:
  // Not virtual: a shared pointer made from the derived type deletes the handler as that type.
  ~ILogHandler() = default;
};

/// Writes text of any level to the debugger. Ignores a null text.
class DebugLogger : public ILogHandler {
 public:
  void LogWrite(LogLevel level, const wchar_t* text) override;  ///< with `OutputDebugStringW`
  void LogWrite(LogLevel level, const char* text) override;     ///< with `OutputDebugStringA`
  void Flush() override;                                        ///< does nothing
  virtual ~DebugLogger() = default;
};

/// Appends text to a file, which stays open for the lifetime of the object. Every write reaches the disk
/// before it returns. A failed write is not reported and its text is lost.
class FileLogger : public ILogHandler {
 public:
  /// Takes ownership of `handle`, an open file or `INVALID_HANDLE_VALUE`.
  explicit FileLogger(void* handle) noexcept : file(handle) {}
  FileLogger(const FileLogger&) = delete;
  FileLogger& operator=(const FileLogger&) = delete;

  /// Writes ASCII text. Does not write a text that contains any other character.
  void LogWrite(LogLevel level, const wchar_t* text) override;
  /// Writes the bytes unchanged; they must be UTF-8.
  void LogWrite(LogLevel level, const char* text) override;
  void Flush() override;  ///< with `FlushFileBuffers`
  /// Flushes and closes the file.
  virtual ~FileLogger();

  // The fields and their types are part of the interface, so the handle is not a `UniqueFile`.
  void* file;               ///< the file handle; `INVALID_HANDLE_VALUE` if no file is open
  char scratch[4096] = {};  ///< buffer for converted text; guarded by the lock of the log system
};

/// Opens a log file for appending and creates it if it does not exist. Rotates it first (`RotateLogFile`) if
/// both limits are above 0; `maxSizeKB` is in units of 1,024 bytes. Other processes may read, write, rename
/// and delete the file while it is open. Returns null for an empty path or if the file cannot be opened.
std::unique_ptr<FileLogger> OpenFileLogger(const std::wstring& path, std::uint64_t maxSizeKB,
                                           std::uint64_t maxCount);

}  // namespace Kuv

/// Converts UTF-16 to UTF-8 with one bound for both sides: the smaller of `capacity` (in bytes, including the
/// NUL) and the length needed limits the units read as well as the bytes written. Truncates the text to
/// `capacity` - 1 bytes. Fails for a character outside ASCII within the bound, which needs more bytes than
/// units. Reads nothing after the NUL of `text`. Returns the bytes written, including the NUL; 0 on failure.
int WideToUtf8Buffer(char* destination, int capacity, const wchar_t* text) noexcept;
