#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Tools {

/// Parses a 32-bit number, decimal or hexadecimal with 0x. Returns nothing for any other text, for example
/// one with a sign or a space.
std::optional<std::uint32_t> ParseNumber(const std::wstring& text);

/// Returns the text without the characters of `blanks` at its start and end.
template <typename Text>
Text Trimmed(const Text& text, const typename Text::value_type* blanks) {
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == Text::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace Tools
