#pragma once

#include <string>

/// @file
/// Conversion, case, white space and formatting of strings. All functions are thread-safe. They throw only
/// `std::bad_alloc` and, for a text above the string's maximum size, `std::length_error`.

/// @def KUV_PRINTF_FORMAT
/// Declares that an 8-bit format is checked against its arguments by compilers that support this.
#if defined(__MINGW32__) && !defined(__clang__)
// The formatter is that of Windows, not the ISO one: `%s` in a wide format means wide text.
#define KUV_PRINTF_FORMAT(formatIndex, firstArgument) \
  __attribute__((format(ms_printf, formatIndex, firstArgument)))
#else
#define KUV_PRINTF_FORMAT(formatIndex, firstArgument)
#endif

/// Converts UTF-8 (RFC 3629) to UTF-16 (code page 65001, flags 0), up to the first NUL. Replaces invalid
/// sequences by U+FFFD. Returns an empty string for a null pointer, an empty text or a failed conversion; if
/// only the second call fails, after the first one has returned the length, the string holds that many NULs.
[[nodiscard]] std::wstring Utf8ToWide(const char* text);
/// @overload
[[nodiscard]] std::wstring Utf8ToWide(const std::string& text);

/// Converts UTF-16 to UTF-8 by the rules of `Utf8ToWide`.
[[nodiscard]] std::string WideToUtf8(const wchar_t* text);
/// @overload
[[nodiscard]] std::string WideToUtf8(const std::wstring& text);

/// Returns a lower-case copy, converted unit by unit with `tolower` or `towlower`. Returns an empty string
/// for a null pointer.
std::string ToLowerAscii(const char* text);
/// @overload
std::string ToLowerAscii(const std::string& text);
/// @overload
std::wstring ToLowerAscii(const wchar_t* text);
/// @overload
std::wstring ToLowerAscii(const std::wstring& text);

/// Converts the string to lower case, unit by unit, with `tolower` or `towlower`.
void ToLowerInPlace(std::string& text);
/// @overload
void ToLowerInPlace(std::wstring& text);

/// Removes every character for which `isspace` or `iswspace` returns true, also inside the string.
void RemoveWhitespace(std::string& text);
/// @overload
void RemoveWhitespace(std::wstring& text);

/// Formats into a new string of the length needed. In the 8-bit form `%s` takes 8-bit text; in the 16-bit
/// form `%s` takes 16-bit text and `%S` 8-bit text. Returns an empty string for a null format or one that the
/// formatter rejects.
[[nodiscard]] std::string FormatToString(const char* format, ...) KUV_PRINTF_FORMAT(1, 2);
/// @overload
[[nodiscard]] std::wstring FormatToString(const wchar_t* format, ...);
