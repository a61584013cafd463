#include "KuvAuth/Logging/LogText.h"

#include <string>

#include "KuvAuth/Logging/LogFront.h"

namespace {

template <typename Unit>
void WriteText(LogLevel level, const Unit* text, const Unit* lineEnd) {
  if (text == nullptr || !IsLogLevelEnabled(level)) return;
  const std::size_t length = std::char_traits<Unit>::length(text);
  if (length == 0) return;
  g_logSystem->WriteRaw(level, text);
  if (text[length - 1] != Unit{'\n'}) g_logSystem->WriteRaw(level, lineEnd);
}

}  // namespace

void LogText(LogLevel level, const char* text) {
  WriteText(level, text, "\r\n");
}

void LogText(LogLevel level, const wchar_t* text) {
  WriteText(level, text, L"\r\n");
}
