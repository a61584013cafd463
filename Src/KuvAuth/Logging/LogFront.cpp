#include "KuvAuth/Logging/LogFront.h"

#include <cstdarg>

#include "KuvAuth/Logging/LineWriter.h"
#include "KuvAuth/Logging/LogMessage.h"
#include "KuvAuth/Support/ForceInline.h"

constinit std::shared_ptr<Kuv::LogSystem> g_logSystem;

namespace {

// Each function on the stack when a handler enters the kernel costs a mispredicted return afterwards. The
// compiler does not inline this one by itself because of its buffer.
template <typename Unit>
KUV_FORCE_INLINE void FormatAndWrite(Kuv::LogSystem* system, const LogRecord& record, const Unit* format,
                                     va_list arguments) {
  if (format == nullptr || system == nullptr || !system->Passes(record.level)) return;
  Unit message[Kuv::kLogLineCapacity];
  const std::size_t length = Kuv::FormatLogMessage(message, format, arguments);
  Kuv::WriteLine(*system, record, message, length);
}

template <typename String>
void WriteString(const LogRecord& record, const String& text) {
  if (text.empty() || !IsLogLevelEnabled(record.level)) return;
  g_logSystem->Write(record.level, record.file, record.line, text.c_str());
}

}  // namespace

std::shared_ptr<Kuv::LogSystem>& GetLogSystem() noexcept {
  return g_logSystem;
}

void ReplaceLogSystem(const std::shared_ptr<Kuv::LogSystem>& system) {
  if (g_logSystem != nullptr) g_logSystem->Flush();
  // Swapped, so that the old system is destroyed only after the new one is in place.
  std::shared_ptr<Kuv::LogSystem> share = system;
  g_logSystem.swap(share);
}

void LogFormat(const LogRecord& record, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  FormatAndWrite(g_logSystem.get(), record, format, arguments);
  va_end(arguments);
}

void LogFormat(const LogRecord& record, const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  FormatAndWrite(g_logSystem.get(), record, format, arguments);
  va_end(arguments);
}

void LogString(const LogRecord& record, const std::string& text) {
  WriteString(record, text);
}

void LogString(const LogRecord& record, const std::wstring& text) {
  WriteString(record, text);
}

void LogTo(const LogRecord& record, Kuv::LogSystem& system, const wchar_t* text) {
  system.Write(record.level, record.file, record.line, text);
}

void LogFormatTo(const LogRecord& record, Kuv::LogSystem& system, const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  FormatAndWrite(&system, record, format, arguments);
  va_end(arguments);
}
