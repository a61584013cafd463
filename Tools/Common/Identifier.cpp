#include "Common/Identifier.h"

#include <objbase.h>

#include "KuvAuth/Support/GuidText.h"
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
  return WideToUtf8(Kuv::GuidText{identifier}.Get());
}

}  // namespace Tools
