#pragma once

#include <cstdarg>
#include <cstddef>
#include <initializer_list>

namespace Kuv {

/// Capacity, in units, of the buffers for a message and for a line.
inline constexpr std::size_t kLogLineCapacity = 2048;

/// Formats a message, truncated to 2,047 units. The message is empty if the formatter rejects the format.
/// Returns its length in units, including any NUL that an argument puts into it.
std::size_t FormatLogMessage(char (&message)[kLogLineCapacity], const char* format,
                             va_list arguments) noexcept;
/// @overload
std::size_t FormatLogMessage(wchar_t (&message)[kLogLineCapacity], const wchar_t* format,
                             va_list arguments) noexcept;

/// Appends carriage return and line feed, as far as they fit into the buffer, to a text of `length` units,
/// and terminates it with a NUL.
template <typename Unit>
void AppendLineEnd(Unit (&buffer)[kLogLineCapacity], std::size_t length) noexcept {
  for (const char unit : {'\r', '\n'}) {
    if (length + 1 < kLogLineCapacity) buffer[length++] = static_cast<Unit>(unit);
  }
  buffer[length] = Unit{};
}

}  // namespace Kuv
