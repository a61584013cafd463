#include "KuvAuth/Logging/LogSystem.h"

#include <cstring>
#include <cwchar>
#include <mutex>

#include "KuvAuth/Logging/LineWriter.h"
#include "KuvAuth/Logging/LogLine.h"
#include "KuvAuth/Support/ForceInline.h"

namespace Kuv {

namespace {

using Handlers = std::vector<std::shared_ptr<ILogHandler>>;

// All are inlined for the same reason as `FormatAndWrite` (LogFront.cpp).

// Exceptions from one handler must not keep the line from the others.
template <typename Call>
KUV_FORCE_INLINE void ForEachHandler(CriticalSection& lock, const Handlers& handlers, Call call) {
  const std::lock_guard guard{lock};
  for (const auto& handler : handlers) {
    try {
      call(*handler);
    } catch (...) {
      continue;
    }
  }
}

template <typename Unit>
KUV_FORCE_INLINE void PassToHandlers(CriticalSection& lock, const Handlers& handlers, LogLevel level,
                                     const Unit* text) {
  ForEachHandler(lock, handlers, [=](ILogHandler& handler) { handler.LogWrite(level, text); });
}

template <typename Unit>
KUV_FORCE_INLINE void FormatAndPass(LogSystem& system, const LogRecord& record, const Unit* message,
                                    std::size_t length) {
  if (!system.Passes(record.level)) return;
  // A handler may look at the whole buffer.
  wchar_t buffer[kLogLineCapacity] = {};
  FormatLine(buffer, record, record.level <= system.locationLevel, message, length);
  PassToHandlers(system.lock, system.handlers, record.level, buffer);
}

}  // namespace

LogSystem::~LogSystem() {
  const std::lock_guard guard{lock};
  handlers.clear();
}

void LogSystem::Write(LogLevel level, const char* file, std::uint32_t line, const char* text) {
  if (text == nullptr || !Passes(level)) return;
  FormatAndPass(*this, {level, file, line}, text, strnlen(text, kLogLineCapacity));
}

void LogSystem::Write(LogLevel level, const char* file, std::uint32_t line, const wchar_t* text) {
  if (text == nullptr || !Passes(level)) return;
  FormatAndPass(*this, {level, file, line}, text, wcsnlen(text, kLogLineCapacity));
}

void WriteLine(LogSystem& system, const LogRecord& record, const char* message, std::size_t length) {
  FormatAndPass(system, record, message, length);
}

void WriteLine(LogSystem& system, const LogRecord& record, const wchar_t* message, std::size_t length) {
  FormatAndPass(system, record, message, length);
}

void LogSystem::WriteRaw(LogLevel level, const char* text) {
  if (Passes(level)) WriteUnfiltered(level, text);
}

void LogSystem::WriteRaw(LogLevel level, const wchar_t* text) {
  if (Passes(level)) WriteUnfiltered(level, text);
}

void LogSystem::WriteUnfiltered(LogLevel level, const char* text) {
  if (text != nullptr) PassToHandlers(lock, handlers, level, text);
}

void LogSystem::WriteUnfiltered(LogLevel level, const wchar_t* text) {
  if (text != nullptr) PassToHandlers(lock, handlers, level, text);
}

void LogSystem::AddHandler(const std::shared_ptr<ILogHandler>& handler) {
  if (handler == nullptr) return;
  const std::lock_guard guard{lock};
  handlers.push_back(handler);
}

void LogSystem::RemoveHandler(const std::shared_ptr<ILogHandler>& handler) {
  if (handler == nullptr) return;
  const std::lock_guard guard{lock};
  // Compares raw pointers, because `handler` may refer to an element of `handlers`, which erasing moves.
  std::erase_if(handlers, [removed = handler.get()](const auto& entry) { return entry.get() == removed; });
}

void LogSystem::Flush() {
  ForEachHandler(lock, handlers, [](ILogHandler& handler) { handler.Flush(); });
}

}  // namespace Kuv
