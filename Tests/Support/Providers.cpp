#include "Support/Providers.h"

#include <windows.h>
#include <objbase.h>

namespace KuvTest {

std::string Text(const GUID& guid) {
  wchar_t text[39] = {};
  if (::StringFromGUID2(guid, text, 39) != 39) throw std::runtime_error{"an identifier has no text"};
  std::string narrow;
  for (const wchar_t unit : std::wstring{text}) narrow += static_cast<char>(unit);
  return narrow;
}

std::vector<GUID> Guids(const Names& texts) {
  std::vector<GUID> guids;
  for (const std::string& text : texts) guids.push_back(Guid(text));
  return guids;
}

Names Texts(const std::vector<GUID>& guids) {
  Names texts;
  for (const GUID& guid : guids) texts.push_back(Text(guid));
  return texts;
}

std::wstring Wide(std::string_view text) {
  return {text.begin(), text.end()};
}

}  // namespace KuvTest
