#include "KuvAuth/Logging/LogMessage.h"

#include <cstdio>
#include <cstring>
#include <cwchar>

namespace {

constexpr std::size_t kLongestMessage = kLogLineCapacity - 1;

}  // namespace

// The formatter answers truncation and refusal alike with a negative number. A message that does not
// fill its buffer was refused, and is empty then, whatever the formatter left behind.

void FormatLogMessage(char (&message)[kLogLineCapacity], const char* format, va_list arguments) noexcept {
  message[0] = '\0';
  if (_vsnprintf_s(message, kLogLineCapacity, _TRUNCATE, format, arguments) >= 0) return;
  if (strnlen(message, kLogLineCapacity) != kLongestMessage) message[0] = '\0';
}

void FormatLogMessage(wchar_t (&message)[kLogLineCapacity], const wchar_t* format,
                      va_list arguments) noexcept {
  message[0] = L'\0';
  if (_vsnwprintf_s(message, kLogLineCapacity, _TRUNCATE, format, arguments) >= 0) return;
  if (wcsnlen(message, kLogLineCapacity) != kLongestMessage) message[0] = L'\0';
}
