#include "KuvAuth/Support/Text.h"

#include <windows.h>

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cwctype>

#include "KuvAuth/Support/ToleratedFormats.h"

namespace {

template <typename Unit>
std::basic_string<Unit> LowerCopy(std::basic_string<Unit> text) {
  ToLowerInPlace(text);
  return text;
}

int CountFormatted(const char* format, va_list arguments) {
  const Kuv::ToleratedFormats tolerated{};
  return _vscprintf(format, arguments);
}

int CountFormatted(const wchar_t* format, va_list arguments) {
  const Kuv::ToleratedFormats tolerated{};
  return _vscwprintf(format, arguments);
}

int FormatTruncated(std::string& text, const char* format, va_list arguments) {
  const Kuv::ToleratedFormats tolerated{};
  return _vsnprintf_s(text.data(), text.size() + 1, _TRUNCATE, format, arguments);
}

int FormatTruncated(std::wstring& text, const wchar_t* format, va_list arguments) {
  const Kuv::ToleratedFormats tolerated{};
  return _vsnwprintf_s(text.data(), text.size() + 1, _TRUNCATE, format, arguments);
}

template <typename Unit>
std::basic_string<Unit> Format(const Unit* format, va_list arguments) {
  if (format == nullptr) return {};
  va_list counting;
  va_copy(counting, arguments);
  const int length = CountFormatted(format, counting);
  va_end(counting);
  if (length <= 0) return {};
  std::basic_string<Unit> text(static_cast<std::size_t>(length), Unit{});
  const int written = FormatTruncated(text, format, arguments);
  text.resize(static_cast<std::size_t>(std::max(written, 0)));
  return text;
}

}  // namespace

std::wstring Utf8ToWide(const char* text) {
  if (text == nullptr || *text == '\0') return {};
  const int needed = ::MultiByteToWideChar(CP_UTF8, 0, text, -1, nullptr, 0);
  if (needed <= 0) return {};
  std::wstring wide(static_cast<std::size_t>(needed), L'\0');
  const int converted = ::MultiByteToWideChar(CP_UTF8, 0, text, -1, wide.data(), needed);
  if (converted > 0) wide.resize(static_cast<std::size_t>(converted) - 1);
  return wide;
}

std::wstring Utf8ToWide(const std::string& text) {
  return Utf8ToWide(text.c_str());
}

std::string WideToUtf8(const wchar_t* text) {
  if (text == nullptr || *text == L'\0') return {};
  const int needed = ::WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  if (needed <= 0) return {};
  std::string narrow(static_cast<std::size_t>(needed), '\0');
  const int converted = ::WideCharToMultiByte(CP_UTF8, 0, text, -1, narrow.data(), needed, nullptr, nullptr);
  if (converted > 0) narrow.resize(static_cast<std::size_t>(converted) - 1);
  return narrow;
}

std::string WideToUtf8(const std::wstring& text) {
  return WideToUtf8(text.c_str());
}

void ToLowerInPlace(std::string& text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char unit) { return static_cast<char>(std::tolower(static_cast<unsigned char>(unit))); });
}

void ToLowerInPlace(std::wstring& text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](wchar_t unit) { return static_cast<wchar_t>(std::towlower(unit)); });
}

std::string ToLowerAscii(const std::string& text) {
  return LowerCopy(text);
}

std::wstring ToLowerAscii(const std::wstring& text) {
  return LowerCopy(text);
}

std::string ToLowerAscii(const char* text) {
  if (text == nullptr) return {};
  return LowerCopy(std::string{text});
}

std::wstring ToLowerAscii(const wchar_t* text) {
  if (text == nullptr) return {};
  return LowerCopy(std::wstring{text});
}

void RemoveWhitespace(std::string& text) {
  std::erase_if(text, [](char unit) { return std::isspace(static_cast<unsigned char>(unit)) != 0; });
}

void RemoveWhitespace(std::wstring& text) {
  std::erase_if(text, [](wchar_t unit) { return std::iswspace(unit) != 0; });
}

std::string FormatToString(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::string text = Format(format, arguments);
  va_end(arguments);
  return text;
}

std::wstring FormatToString(const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::wstring text = Format(format, arguments);
  va_end(arguments);
  return text;
}
