#include "Common/Identifier.h"

#include <objbase.h>

#include <iterator>

#include "KuvAuth/Support/Text.h"

namespace Tools {

namespace {

constexpr std::size_t kIdentifierLength = 38;

}  // namespace

std::optional<GUID> ParseIdentifier(const std::string& text) {
  GUID identifier{};
  if (text.size() != kIdentifierLength) return std::nullopt;
  if (FAILED(::IIDFromString(Utf8ToWide(text).c_str(), &identifier))) return std::nullopt;
  return identifier;
}

std::string IdentifierText(const GUID& identifier) {
  wchar_t text[kIdentifierLength + 1] = {};
  static_cast<void>(::StringFromGUID2(identifier, text, static_cast<int>(std::size(text))));
  return WideToUtf8(text);
}

}  // namespace Tools
