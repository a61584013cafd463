#include "KuvAuth/Logging/LogMessage.h"

#include <cstdio>

namespace {

constexpr std::size_t kLastUnit = kLogLineCapacity - 2;

}  // namespace

// The formatter answers truncation and refusal alike with a negative number. A message whose last unit
// it did not reach was refused, and is empty then, whatever the formatter left behind.

void FormatLogMessage(char (&message)[kLogLineCapacity], const char* format, va_list arguments) noexcept {
  message[0] = message[kLastUnit] = '\0';
  if (_vsnprintf_s(message, kLogLineCapacity, _TRUNCATE, format, arguments) >= 0) return;
  if (message[kLastUnit] == '\0') message[0] = '\0';
}

void FormatLogMessage(wchar_t (&message)[kLogLineCapacity], const wchar_t* format,
                      va_list arguments) noexcept {
  message[0] = message[kLastUnit] = L'\0';
  if (_vsnwprintf_s(message, kLogLineCapacity, _TRUNCATE, format, arguments) >= 0) return;
  if (message[kLastUnit] == L'\0') message[0] = L'\0';
}
