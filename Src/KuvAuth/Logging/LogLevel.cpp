#include "KuvAuth/Logging/LogLevel.h"

const wchar_t* LogLevelName(LogLevel level) noexcept {
  switch (level) {
    case LogLevel::Trace:
      return L"Trace";
    case LogLevel::Debug:
      return L"Debug";
    case LogLevel::Info:
      return L"Info";
    case LogLevel::Warning:
      return L"Warning";
    case LogLevel::Error:
      return L"Error";
    case LogLevel::Critical:
      return L"Critical";
  }
  return L"";
}
