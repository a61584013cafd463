#include "KuvAuth/Logging/LogLine.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <cwchar>

#include "KuvAuth/Logging/AsciiRun.h"
#include "KuvAuth/Support/ToleratedFormats.h"

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

// Converts the message as `Utf8ToWideBuffer` does. For `length` see `Kuv::WriteLine`.
int ConvertToWide(wchar_t* destination, int capacity, const char* text, std::size_t length) noexcept {
  const auto units = static_cast<std::size_t>(capacity);
  // For ASCII text, the bound means the same on both sides.
  const std::size_t copied = Kuv::CopyAsciiBlocks(destination, text, std::min(length, units));
  if (copied == units) {
    destination[units - 1] = L'\0';
    return capacity;
  }
  if (text[copied] == '\0') {
    destination[copied] = L'\0';
    return static_cast<int>(copied) + 1;
  }
  // Needs fewer units than bytes, so `bound` ends the source before its NUL. The loss of the tail is
  // required.
  const int needed = ::MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
  const int bound = std::min(capacity, needed);
  const int converted = ::MultiByteToWideChar(CP_UTF8, 0, text, bound, destination, bound);
  if (converted <= 0) {
    std::fill_n(destination, units, L'\0');
    return 0;
  }
  destination[converted - 1] = L'\0';
  return converted;
}

// Copies the text up to its NUL, at most `count` units, which may be read. Returns the number of units
// copied.
std::size_t CopyUntilNul(wchar_t* destination, const wchar_t* text, std::size_t count) noexcept {
  constexpr std::size_t kBlock = sizeof(std::uint64_t) / sizeof(wchar_t);
  std::size_t i = 0;
  for (; count - i >= kBlock; i += kBlock) {
    std::uint64_t block;
    std::memcpy(&block, text + i, sizeof(block));
    // Finds a unit that is 0: it borrows from its highest bit, which it does not have.
    if (((block - 0x0001000100010001u) & ~block & 0x8000800080008000u) != 0) break;
    std::memcpy(destination + i, &block, sizeof(block));
  }
  for (; i < count && text[i] != L'\0'; ++i) destination[i] = text[i];
  return i;
}

}  // namespace

std::size_t FormatLinePrefix(wchar_t (&buffer)[kLogLineCapacity], const char* file, std::uint32_t line,
                             LogLevel level, bool withLocation) {
  wchar_t* out = PutTimeAndIds(buffer);
  // The location can be of any length, so the tag is limited to the units that remain.
  wchar_t* const end = buffer + kLogLineCapacity - 1;
  if (withLocation) {
    out += AppendFormat(out, static_cast<std::size_t>(end + 1 - out), L"%S(%u) ", file, line);
    // The formatter of a debug runtime fills the rest of its buffer.
    std::fill(out, end + 1, L'\0');
  }
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
  const Kuv::ToleratedFormats tolerated{};
  const int written = _vsnwprintf_s(buffer, capacity, _TRUNCATE, format, arguments);
  va_end(arguments);
  return written < 0 ? capacity - 1 : static_cast<std::size_t>(written);
}

int Utf8ToWideBuffer(wchar_t* destination, int capacity, const char* text) noexcept {
  if (destination == nullptr || capacity <= 0 || text == nullptr) return 0;
  return ConvertToWide(destination, capacity, text, strnlen(text, static_cast<std::size_t>(capacity)));
}

namespace Kuv {

void FormatLine(wchar_t (&buffer)[kLogLineCapacity], const LogRecord& record, bool withLocation,
                const char* message, std::size_t length) {
  std::size_t end = FormatLinePrefix(buffer, record.file, record.line, record.level, withLocation);
  const int room = static_cast<int>(kMessageEnd) - static_cast<int>(end);
  const int converted = room > 0 ? ConvertToWide(buffer + end, room, message, length) : 0;
  if (converted > 0) end += static_cast<std::size_t>(converted) - 1;
  AppendLineEnd(buffer, end);
}

void FormatLine(wchar_t (&buffer)[kLogLineCapacity], const LogRecord& record, bool withLocation,
                const wchar_t* message, std::size_t length) {
  std::size_t end = FormatLinePrefix(buffer, record.file, record.line, record.level, withLocation);
  // Subtracts the prefix twice, which is required: a wide message is truncated earlier than an 8-bit one by
  // the length of the prefix.
  const std::size_t last = kMessageEnd - 1 - std::min(end, kMessageEnd - 1);
  if (last > end) end += CopyUntilNul(buffer + end, message, std::min(length, last - end));
  AppendLineEnd(buffer, end);
}

}  // namespace Kuv
