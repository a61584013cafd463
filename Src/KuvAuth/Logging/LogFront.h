#pragma once

#include <memory>
#include <string>

#include "KuvAuth/Logging/LogSystem.h"
#include "KuvAuth/Support/Text.h"

/// @file
/// What code calls to log.

/// The main log of the process, empty until logging is started. Read without a lock: it is replaced
/// only while no other thread logs.
extern std::shared_ptr<Kuv::LogSystem> g_logSystem;

/// Returns `g_logSystem` itself, not a copy.
std::shared_ptr<Kuv::LogSystem>& GetLogSystem() noexcept;

/// Flushes the main log and replaces it by `system`, which may be empty.
void ReplaceLogSystem(const std::shared_ptr<Kuv::LogSystem>& system);

/// Whether a call of this level would reach the main log; false while there is none.
inline bool IsLogLevelEnabled(LogLevel level) noexcept {
  const Kuv::LogSystem* const system = g_logSystem.get();
  return system != nullptr && system->Passes(level);
}

/// Formats a message in the manner of printf, cut at 2,047 units, and writes it to the main log as one
/// line (`Kuv::LogSystem::Write`). A null format, a filtered level or a missing log system drops the
/// call. Callers use `KUV_LOG`, which fills the record.
void LogFormat(const LogRecord& record, const char* format, ...) KUV_PRINTF_FORMAT(2, 3);
/// @overload
void LogFormat(const LogRecord& record, const wchar_t* format, ...);

/// Writes a text, unformatted, to the main log as one line. An empty text writes nothing.
void LogString(const LogRecord& record, const std::string& text);
/// @overload
void LogString(const LogRecord& record, const std::wstring& text);

/// Writes a text, unformatted, to the given system as one line. A null text writes nothing.
void LogTo(const LogRecord& record, Kuv::LogSystem& system, const wchar_t* text);

/// As the 16-bit `LogFormat`, to the given system.
void LogFormatTo(const LogRecord& record, Kuv::LogSystem& system, const wchar_t* format, ...);

/// Logs one formatted line: KUV_LOG(LogLevel::Info, "format", arguments...). The format is 8-bit or
/// 16-bit text. The arguments of a filtered call are not evaluated.
#define KUV_LOG(level, ...)                                                                \
  (IsLogLevelEnabled(level) ? LogFormat(LogRecord{level, __FILE__, __LINE__}, __VA_ARGS__) \
                            : static_cast<void>(0))
