#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "KuvAuth/Logging/LogLevel.h"

/// @file
/// Where the lines of a log go.

namespace Kuv {

/// Where finished text leaves a log system. A handler neither filters nor adds anything. It is only
/// called while its log system holds its lock, so it needs none of its own, and it must not log
/// through that system.
struct ILogHandler {
  virtual void LogWrite(LogLevel level, const wchar_t* text) = 0;  ///< takes UTF-16, NUL-ended
  virtual void LogWrite(LogLevel level, const char* text) = 0;     ///< takes UTF-8, NUL-ended
  virtual void Flush() = 0;                                        ///< gives on what is still held

 protected:
  // Handlers are owned through shared pointers made from their own type.
  ~ILogHandler() = default;
};

/// Hands text to the debugger stream of the platform, whatever its level. A null text is ignored.
class DebugLogger : public ILogHandler {
 public:
  void LogWrite(LogLevel level, const wchar_t* text) override;  ///< with `OutputDebugStringW`
  void LogWrite(LogLevel level, const char* text) override;     ///< with `OutputDebugStringA`
  void Flush() override;                                        ///< has nothing to do
  virtual ~DebugLogger() = default;
};

/// Appends text to a file, which stays open for the life of the object. Every write reaches the disk
/// before it returns. A write that fails loses its text without a word.
class FileLogger : public ILogHandler {
 public:
  /// Takes ownership of `handle`, an open handle or `INVALID_HANDLE_VALUE`.
  explicit FileLogger(void* handle) noexcept : file(handle) {}
  FileLogger(const FileLogger&) = delete;
  FileLogger& operator=(const FileLogger&) = delete;

  /// Writes ASCII text as its bytes. Text with any other character is not written at all.
  void LogWrite(LogLevel level, const wchar_t* text) override;
  /// Writes the bytes as they stand: they are taken to be UTF-8 already.
  void LogWrite(LogLevel level, const char* text) override;
  void Flush() override;  ///< with `FlushFileBuffers`
  /// Flushes and closes the file.
  virtual ~FileLogger();

  void* file;               ///< the platform's handle; `INVALID_HANDLE_VALUE` when no file is open
  char scratch[4096] = {};  ///< for converted text; the log system's lock guards it
};

/// Opens a log file for appending, creating it if need be, after rotating it (see `RotateLogFile`) if
/// both limits are above 0. `maxSizeKB` is in units of 1,024 bytes. Other processes may read, write,
/// rename and delete the file while it is open. Gives null for an empty path or if the file cannot be
/// opened.
std::unique_ptr<FileLogger> OpenFileLogger(const std::wstring& path, std::uint64_t maxSizeKB,
                                           std::uint64_t maxCount);

}  // namespace Kuv

/// Bounded conversion of UTF-16 to UTF-8 with one bound for both sides: at most the smaller of
/// `capacity` (in bytes, NUL included) and the length needed is read and written. Returns the bytes
/// written, NUL included, or 0 on failure. Text is cut at `capacity` - 1; text with a character
/// outside ASCII within that reach fails, since it needs more bytes than it has units. No unit behind
/// the NUL of `text` is read.
int WideToUtf8Buffer(char* destination, int capacity, const wchar_t* text) noexcept;
