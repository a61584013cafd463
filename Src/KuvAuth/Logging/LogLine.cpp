#include "KuvAuth/Logging/LogLine.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <cwchar>

#include "KuvAuth/Logging/AsciiRun.h"

namespace {

using Kuv::kLogLineCapacity;

// A message ends before this unit, so that the line end always fits after it.
constexpr std::size_t kMessageEnd = 2046;

struct TwoDigits {
  wchar_t units[2];
};

constexpr std::array<TwoDigits, 100> MakeTwoDigits() {
  std::array<TwoDigits, 100> table{};
  for (std::size_t i = 0; i < table.size(); ++i) {
    table[i] = {static_cast<wchar_t>(L'0' + i / 10), static_cast<wchar_t>(L'0' + i % 10)};
  }
  return table;
}

constexpr std::array<TwoDigits, 100> kTwoDigits = MakeTwoDigits();

wchar_t* PutPair(wchar_t* out, std::uint32_t value) noexcept {
  std::memcpy(out, &kTwoDigits[value], sizeof(TwoDigits));
  return out + 2;
}

wchar_t* PutNumber(wchar_t* out, std::uint32_t value) noexcept {
  if (value >= 100) return PutPair(PutNumber(out, value / 100), value % 100);
  if (value >= 10) return PutPair(out, value);
  *out = static_cast<wchar_t>(L'0' + value);
  return out + 1;
}

// Writes at least two digits.
wchar_t* PutTwoDigits(wchar_t* out, std::uint32_t value) noexcept {
  return value < 100 ? PutPair(out, value) : PutNumber(out, value);
}

// Truncates the text at `end`.
wchar_t* PutText(wchar_t* out, const wchar_t* end, const wchar_t* text) noexcept {
  while (*text != L'\0' && out != end) *out++ = *text++;
  return out;
}

// Writes the text of "%.2d/%.2d/%.2d %.2d:%.2d:%.2d [%u](%u) ". The platform's formatter would take longer
// than the rest of the line.
wchar_t* PutTimeAndIds(wchar_t* out) noexcept {
  SYSTEMTIME now;
  ::GetLocalTime(&now);
  out = PutTwoDigits(out, now.wMonth);
  *out++ = L'/';
  out = PutTwoDigits(out, now.wDay);
  *out++ = L'/';
  out = PutTwoDigits(out, now.wYear % 1000u);
  *out++ = L' ';
  out = PutTwoDigits(out, now.wHour);
  *out++ = L':';
  out = PutTwoDigits(out, now.wMinute);
  *out++ = L':';
  out = PutTwoDigits(out, now.wSecond);
  *out++ = L' ';
  *out++ = L'[';
  out = PutNumber(out, ::GetCurrentProcessId());
  *out++ = L']';
  *out++ = L'(';
  out = PutNumber(out, ::GetCurrentThreadId());
  *out++ = L')';
  *out++ = L' ';
  return out;
}

}  // namespace

std::size_t FormatLinePrefix(wchar_t (&buffer)[kLogLineCapacity], const char* file, std::uint32_t line,
                             LogLevel level, bool withLocation) {
  wchar_t* out = PutTimeAndIds(buffer);
  // The location can be of any length, so the tag is limited to the units that remain.
  wchar_t* const end = buffer + kLogLineCapacity - 1;
  if (withLocation) out += AppendFormat(out, static_cast<std::size_t>(end + 1 - out), L"%S(%u) ", file, line);
  if (level < LogLevelPlain) {
    out = PutText(out, end, L"[");
    out = PutText(out, end, LogLevelName(level));
    out = PutText(out, end, L"] ");
  }
  *out = L'\0';
  return static_cast<std::size_t>(out - buffer);
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
  // For ASCII text, the bound means the same on both sides.
  const int copied = Kuv::CopyAsciiRun(destination, capacity, text);
  if (copied == capacity) {
    destination[capacity - 1] = L'\0';
    return capacity;
  }
  if (text[copied] == '\0') {
    destination[copied] = L'\0';
    return copied + 1;
  }
  // Needs fewer units than bytes, so `bound` ends the source before its NUL. The loss of the tail is
  // required.
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

namespace Kuv {

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
  // Subtracts the prefix twice, which is required: a wide message is truncated earlier than an 8-bit one by
  // the length of the prefix.
  const std::size_t end = kMessageEnd - 1 - std::min(length, kMessageEnd - 1);
  if (end > length) {
    const std::size_t units = wcsnlen(text, end - length);
    std::copy_n(text, units, buffer + length);
    length += units;
  }
  AppendLineEnd(buffer, length);
}

}  // namespace Kuv
