#include "KuvAuth/Logging/PlainLog.h"

#include <algorithm>
#include <cstdarg>
#include <iterator>

#include "KuvAuth/Logging/LogMessage.h"

constinit std::shared_ptr<Kuv::LogSystem> g_plainLog;

namespace {

template <typename Unit>
void FormatPlainLine(const Unit* format, va_list arguments) {
  if (g_plainLog == nullptr || format == nullptr) return;
  Unit message[Kuv::kLogLineCapacity];
  Kuv::FormatLogMessage(message, format, arguments);
  const std::size_t length = std::char_traits<Unit>::length(message);
  // A handler may look at the whole buffer.
  std::fill(message + length, std::end(message), Unit{});
  Kuv::AppendLineEnd(message, length);
  g_plainLog->WriteRaw(LogLevelPlain, message);
}

}  // namespace

bool StartPlainLog(const std::wstring& path) {
  if (path.empty() || g_plainLog != nullptr) return g_plainLog != nullptr;
  const std::shared_ptr<Kuv::FileLogger> file = Kuv::OpenFileLogger(path, /*maxSizeKB=*/0, /*maxCount=*/0);
  if (file == nullptr) return false;
  g_plainLog = std::make_shared<Kuv::LogSystem>();
  g_plainLog->AddHandler(std::make_shared<Kuv::DebugLogger>());
  g_plainLog->AddHandler(file);
  return true;
}

void StopPlainLog() {
  if (g_plainLog == nullptr) return;
  g_plainLog->Flush();
  g_plainLog.reset();
}

void PlainLogFormat(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  FormatPlainLine(format, arguments);
  va_end(arguments);
}

void PlainLogFormat(const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  FormatPlainLine(format, arguments);
  va_end(arguments);
}
