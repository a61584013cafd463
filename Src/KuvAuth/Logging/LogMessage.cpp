#include "KuvAuth/Logging/LogMessage.h"

#include <cstdio>

namespace Kuv {

namespace {

constexpr std::size_t kLastUnit = kLogLineCapacity - 2;

}  // namespace

// The formatter returns a negative number both if it truncates the message and if it rejects the format. If
// it has not written the last unit, it has rejected the format; what it has written until then is dropped.

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

}  // namespace Kuv
