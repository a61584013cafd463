#pragma once

#include <cstdarg>
#include <cstddef>
#include <initializer_list>

/// Capacity, in units, of the buffers in which a message and a line are made.
inline constexpr std::size_t kLogLineCapacity = 2048;

/// Formats a message, cut to 2,047 units. A format that the formatter refuses gives an empty message.
void FormatLogMessage(char (&message)[kLogLineCapacity], const char* format, va_list arguments) noexcept;
void FormatLogMessage(wchar_t (&message)[kLogLineCapacity], const wchar_t* format,
                      va_list arguments) noexcept;

/// Ends the text behind its `length` units with as much of carriage return, line feed as the buffer
/// takes, and with a NUL.
template <typename Unit>
void AppendLineEnd(Unit (&buffer)[kLogLineCapacity], std::size_t length) noexcept {
  for (const char unit : {'\r', '\n'}) {
    if (length + 1 < kLogLineCapacity) buffer[length++] = static_cast<Unit>(unit);
  }
  buffer[length] = Unit{};
}
