#pragma once

#include <string>

/// @file
/// Conversion, case, white space and formatting of texts. Nothing here throws but `std::bad_alloc` and, for
/// a text above the string's maximum size, `std::length_error`. Any thread may call.

/// @def KUV_PRINTF_FORMAT
/// Lets the compiler check the arguments of an 8-bit format where it can.
#if defined(__MINGW32__) && !defined(__clang__)
// The platform's formatter, not the ISO one: `%s` in a wide format means wide text.
#define KUV_PRINTF_FORMAT(formatIndex, firstArgument) \
  __attribute__((format(ms_printf, formatIndex, firstArgument)))
#else
#define KUV_PRINTF_FORMAT(formatIndex, firstArgument)
#endif

/// Converts UTF-8 (RFC 3629) to UTF-16 (code page 65001, flags 0). The text ends at its first NUL. A null
/// pointer, an empty text or a failed conversion gives an empty string (a conversion that fails
/// after its length was told gives that many zeros). Bad sequences become U+FFFD; nothing is thrown
/// for them.
std::wstring Utf8ToWide(const char* text);
/// @overload
std::wstring Utf8ToWide(const std::string& text);

/// Converts UTF-16 to UTF-8, with the same rules as `Utf8ToWide`.
std::string WideToUtf8(const wchar_t* text);
/// @overload
std::string WideToUtf8(const std::wstring& text);

/// Returns a copy in lower case, made unit by unit with `tolower` or `towlower`. A null pointer gives
/// an empty string.
std::string ToLowerAscii(const char* text);
/// @overload
std::string ToLowerAscii(const std::string& text);
/// @overload
std::wstring ToLowerAscii(const wchar_t* text);
/// @overload
std::wstring ToLowerAscii(const std::wstring& text);

/// Lowers the string itself, unit by unit, with `tolower` or `towlower`.
void ToLowerInPlace(std::string& text);
/// @overload
void ToLowerInPlace(std::wstring& text);

/// Deletes every character for which `isspace` or `iswspace` holds, wherever it stands.
void RemoveWhitespace(std::string& text);
/// @overload
void RemoveWhitespace(std::wstring& text);

/// Formats into a new string of whatever length is needed. In the 8-bit form `%s` takes 8-bit text,
/// in the 16-bit form `%s` takes 16-bit and `%S` 8-bit text. A null format, or one that the formatter
/// refuses, gives an empty string.
std::string FormatToString(const char* format, ...) KUV_PRINTF_FORMAT(1, 2);
/// @overload
std::wstring FormatToString(const wchar_t* format, ...);
