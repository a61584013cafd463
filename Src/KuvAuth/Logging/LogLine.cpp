#include "KuvAuth/Logging/LogLine.h"

#include <windows.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <iterator>

namespace {

// A message ends below this unit, so that the line end always fits behind it.
constexpr std::size_t kMessageEnd = 2046;

wchar_t* PutText(wchar_t* out, const wchar_t* text) noexcept {
  while (*text != L'\0') *out++ = *text++;
  return out;
}

wchar_t* PutNumber(wchar_t* out, std::uint32_t value, std::ptrdiff_t minDigits) noexcept {
  wchar_t digits[10];
  wchar_t* const end = digits + std::size(digits);
  wchar_t* first = end;
  do {
    *--first = static_cast<wchar_t>(L'0' + value % 10);
    value /= 10;
  } while (value != 0);
  while (end - first < minDigits) *--first = L'0';
  return std::copy(first, end, out);
}

// The text of "%.2d/%.2d/%.2d %.2d:%.2d:%.2d [%u](%u) ". The formatter itself would cost more than all
// the rest of a line.
std::size_t PutTimeAndIds(wchar_t* out) noexcept {
  SYSTEMTIME now;
  ::GetLocalTime(&now);
  wchar_t* end = PutNumber(out, now.wMonth, 2);
  *end++ = L'/';
  end = PutNumber(end, now.wDay, 2);
  *end++ = L'/';
  end = PutNumber(end, now.wYear % 1000u, 2);
  *end++ = L' ';
  end = PutNumber(end, now.wHour, 2);
  *end++ = L':';
  end = PutNumber(end, now.wMinute, 2);
  *end++ = L':';
  end = PutNumber(end, now.wSecond, 2);
  end = PutText(end, L" [");
  end = PutNumber(end, ::GetCurrentProcessId(), 1);
  end = PutText(end, L"](");
  end = PutNumber(end, ::GetCurrentThreadId(), 1);
  end = PutText(end, L") ");
  *end = L'\0';
  return static_cast<std::size_t>(end - out);
}

}  // namespace

std::size_t FormatLinePrefix(wchar_t (&buffer)[kLogLineCapacity], const char* file, std::uint32_t line,
                             LogLevel level, bool withLocation) {
  std::size_t length = PutTimeAndIds(buffer);
  if (withLocation)
    length += AppendFormat(buffer + length, kLogLineCapacity - length, L"%S(%u) ", file, line);
  if (level >= LogLevelPlain) return length;
  // A location of any length may stand before it, so the tag is written within what is left.
  wchar_t tag[16];
  wchar_t* end = PutText(tag, L"[");
  end = PutText(end, LogLevelName(level));
  end = PutText(end, L"] ");
  const std::size_t room = kLogLineCapacity - 1 - length;
  const std::size_t units = std::min(static_cast<std::size_t>(end - tag), room);
  std::copy_n(tag, units, buffer + length);
  length += units;
  buffer[length] = L'\0';
  return length;
}

std::size_t AppendFormat(wchar_t* buffer, std::size_t capacity, const wchar_t* format, ...) {
  if (buffer == nullptr || format == nullptr || capacity == 0) return 0;
  va_list arguments;
  va_start(arguments, format);
  const int written = _vsnwprintf_s(buffer, capacity, _TRUNCATE, format, arguments);
  va_end(arguments);
  return written < 0 ? capacity - 1 : static_cast<std::size_t>(written);
}

int Utf8ToWideBuffer(wchar_t* destination, int capacity, const char* text) noexcept {
  if (destination == nullptr || capacity <= 0 || text == nullptr) return 0;
  // As far as the text is ASCII, the two sides of the bound agree: copy until the first byte outside.
  for (int i = 0; i < capacity; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte >= 0x80) break;
    destination[i] = byte;
    if (byte == 0) return i + 1;
    if (i + 1 == capacity) {
      destination[i] = L'\0';
      return capacity;
    }
  }
  // Fewer units than bytes are needed now, so `bound` ends the source before its NUL: the tail is lost.
  const int needed = ::MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
  const int bound = std::min(capacity, needed);
  const int converted = ::MultiByteToWideChar(CP_UTF8, 0, text, bound, destination, bound);
  if (converted <= 0) {
    destination[0] = L'\0';
    return 0;
  }
  destination[converted - 1] = L'\0';
  return converted;
}

void FormatLine(wchar_t (&buffer)[kLogLineCapacity], LogLevel level, const char* file, std::uint32_t line,
                bool withLocation, const char* text) {
  std::size_t length = FormatLinePrefix(buffer, file, line, level, withLocation);
  const int room = static_cast<int>(kMessageEnd) - static_cast<int>(length);
  const int converted = Utf8ToWideBuffer(buffer + length, room, text);
  if (converted > 0) length += static_cast<std::size_t>(converted) - 1;
  AppendLineEnd(buffer, length);
}

void FormatLine(wchar_t (&buffer)[kLogLineCapacity], LogLevel level, const char* file, std::uint32_t line,
                bool withLocation, const wchar_t* text) {
  std::size_t length = FormatLinePrefix(buffer, file, line, level, withLocation);
  // The room counts from the start of the buffer and yet loses the prefix once more: a wide message is
  // cut earlier than an 8-bit one by the length of the prefix.
  const std::size_t end = kMessageEnd - 1 - std::min(length, kMessageEnd - 1);
  if (end > length) {
    const std::size_t units = wcsnlen(text, end - length);
    std::copy_n(text, units, buffer + length);
    length += units;
  }
  AppendLineEnd(buffer, length);
}
