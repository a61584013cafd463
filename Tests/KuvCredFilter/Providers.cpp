#include "KuvCredFilter/Providers.h"

#include <objbase.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "KuvAuth/Support/Text.h"

namespace KuvTest {

GUID Guid(const std::string& text) {
  GUID guid{};
  if (::CLSIDFromString(Utf8ToWide(text).c_str(), &guid) != S_OK)
    throw std::runtime_error{"no identifier: " + text};
  return guid;
}

std::string Text(const GUID& guid) {
  wchar_t text[39] = {};
  if (::StringFromGUID2(guid, text, 39) != 39) throw std::runtime_error{"no text of an identifier"};
  return WideToUtf8(text);
}

std::vector<GUID> Guids(const Names& texts) {
  std::vector<GUID> guids;
  std::transform(texts.begin(), texts.end(), std::back_inserter(guids), Guid);
  return guids;
}

Names Texts(const std::vector<GUID>& guids) {
  Names texts;
  std::transform(guids.begin(), guids.end(), std::back_inserter(texts), Text);
  return texts;
}

}  // namespace KuvTest
