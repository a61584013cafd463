#include "Common/PlainText.h"

#include <windows.h>

#include <algorithm>

#include "KuvAuth/Support/Text.h"

namespace Tools {

namespace {

constexpr std::size_t kMostUnits = 1100;

bool IsControlOrFormat(wchar_t unit) {
  return unit < 0x20 || (unit >= 0x7F && unit < 0xA0) || (unit >= 0x200B && unit <= 0x200F) ||
         (unit >= 0x2028 && unit <= 0x202E) || (unit >= 0x2060 && unit <= 0x206F) || unit == 0x061C ||
         unit == 0xFEFF;
}

std::wstring Converted(const std::string& text, UINT codePage) {
  if (text.empty()) return {};
  // No byte becomes more than one UTF-16 unit.
  std::wstring wide(text.size(), L'\0');
  const int units = ::MultiByteToWideChar(codePage, 0, text.data(), static_cast<int>(text.size()),
                                          wide.data(), static_cast<int>(wide.size()));
  wide.resize(static_cast<std::size_t>(units));
  return wide;
}

}  // namespace

std::string PlainText(const std::wstring& text) {
  std::wstring plain = text.substr(0, kMostUnits);
  std::replace_if(plain.begin(), plain.end(), IsControlOrFormat, L'?');
  return WideToUtf8(plain) + (text.size() > kMostUnits ? "..." : "");
}

std::string PlainText(const std::string& text) {
  return PlainText(Converted(text, CP_ACP));
}

std::string PlainUtf8(const std::string& text) {
  return PlainText(Converted(text, CP_UTF8));
}

std::size_t TextWidth(std::string_view text) noexcept {
  // UTF-8 continuation bytes have no width.
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char unit) { return (static_cast<unsigned char>(unit) & 0xC0) != 0x80; }));
}

}  // namespace Tools
