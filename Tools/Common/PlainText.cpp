#include "Common/PlainText.h"

#include <windows.h>

#include <algorithm>

#include "KuvAuth/Support/Text.h"

namespace FilterCheck {

namespace {

constexpr std::size_t kMostUnits = 1100;

bool IsControlOrFormat(wchar_t unit) {
  return unit < 0x20 || (unit >= 0x7F && unit < 0xA0) || (unit >= 0x200B && unit <= 0x200F) ||
         (unit >= 0x2028 && unit <= 0x202E) || (unit >= 0x2060 && unit <= 0x206F) || unit == 0x061C ||
         unit == 0xFEFF;
}

}  // namespace

std::string PlainText(const std::wstring& text) {
  std::wstring plain = text.substr(0, kMostUnits);
  std::replace_if(plain.begin(), plain.end(), IsControlOrFormat, L'?');
  return WideToUtf8(plain) + (text.size() > kMostUnits ? "..." : "");
}

std::string PlainText(const std::string& text) {
  if (text.empty()) return {};
  // An 8-bit character converts to at most one UTF-16 unit.
  std::wstring wide(text.size(), L'\0');
  const int units = ::MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()), wide.data(),
                                          static_cast<int>(wide.size()));
  wide.resize(static_cast<std::size_t>(units));
  return PlainText(wide);
}

}  // namespace FilterCheck
