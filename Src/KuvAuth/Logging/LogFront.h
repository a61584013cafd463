#pragma once

#include <memory>
#include <string>

#include "KuvAuth/Logging/LogSystem.h"
#include "KuvAuth/Support/Text.h"

/// @file
/// The functions and the macro that write to the log.

/// The main log of the process; null until logging is started. It is read without a lock, so it must be
/// replaced only while no other thread logs.
extern std::shared_ptr<Kuv::LogSystem> g_logSystem;

/// Returns a reference to `g_logSystem`.
std::shared_ptr<Kuv::LogSystem>& GetLogSystem() noexcept;

/// Flushes the main log and replaces it with `system`, which may be null.
void ReplaceLogSystem(const std::shared_ptr<Kuv::LogSystem>& system);

/// Returns whether a call of this level reaches the main log; false if there is none.
inline bool IsLogLevelEnabled(LogLevel level) noexcept {
  const Kuv::LogSystem* const system = g_logSystem.get();
  return system != nullptr && system->Passes(level);
}

/// Formats a message as printf does, truncates it to 2,047 units and writes it to the main log as one line
/// (`Kuv::LogSystem::Write`). Does nothing for a null format, for a filtered level or without a main log.
/// Call it through `KUV_LOG`, which fills in the record.
void LogFormat(const LogRecord& record, const char* format, ...) KUV_PRINTF_FORMAT(2, 3);
/// @overload
void LogFormat(const LogRecord& record, const wchar_t* format, ...);

/// Writes a text to the main log as one line, without formatting it. Does nothing for an empty text.
void LogString(const LogRecord& record, const std::string& text);
/// @overload
void LogString(const LogRecord& record, const std::wstring& text);

/// Writes a text to `system` as one line, without formatting it. Does nothing for a null text.
void LogTo(const LogRecord& record, Kuv::LogSystem& system, const wchar_t* text);

/// Does what the 16-bit `LogFormat` does, but writes to `system`.
void LogFormatTo(const LogRecord& record, Kuv::LogSystem& system, const wchar_t* format, ...);

/// Logs one formatted line: KUV_LOG(LogLevel::Info, "format", arguments...). The format is 8-bit or 16-bit
/// text. Does not evaluate the arguments if the level is filtered.
#define KUV_LOG(level, ...)                                                                \
  (IsLogLevelEnabled(level) ? LogFormat(LogRecord{level, __FILE__, __LINE__}, __VA_ARGS__) \
                            : static_cast<void>(0))
