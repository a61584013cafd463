#include "KuvAuth/Logging/LogMessage.h"

#include <cstdio>

#include "KuvAuth/Support/ToleratedFormats.h"

namespace Kuv {

namespace {

constexpr std::size_t kLastUnit = kLogLineCapacity - 2;

// The formatter returns a negative number both if it truncates the message and if it rejects the format. If
// it has not written the last unit, it has rejected the format; what it has written until then is dropped.
// The debug runtime of Visual C++ empties a rejected message and fills the buffer after the NUL.
template <typename Unit>
std::size_t MessageLength(Unit (&message)[kLogLineCapacity], int written) noexcept {
  if (written >= 0) return static_cast<std::size_t>(written);
  if (message[0] != Unit{} && message[kLastUnit] != Unit{}) return kLastUnit + 1;
  message[0] = Unit{};
  return 0;
}

}  // namespace

std::size_t FormatLogMessage(char (&message)[kLogLineCapacity], const char* format,
                             va_list arguments) noexcept {
  message[0] = message[kLastUnit] = '\0';
  const ToleratedFormats tolerated{};
  return MessageLength(message, _vsnprintf_s(message, kLogLineCapacity, _TRUNCATE, format, arguments));
}

std::size_t FormatLogMessage(wchar_t (&message)[kLogLineCapacity], const wchar_t* format,
                             va_list arguments) noexcept {
  message[0] = message[kLastUnit] = L'\0';
  const ToleratedFormats tolerated{};
  return MessageLength(message, _vsnwprintf_s(message, kLogLineCapacity, _TRUNCATE, format, arguments));
}

}  // namespace Kuv
