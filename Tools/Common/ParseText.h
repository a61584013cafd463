#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Tools {

/// Reads a number of at most 32 bits, decimal or 0x and hexadecimal. Returns nothing for any other text,
/// such as one with a sign or a space.
std::optional<std::uint32_t> ParseNumber(const std::wstring& text);

/// Returns a text without the blanks at its start and end; `blanks` lists the characters.
template <typename Text>
Text Trimmed(const Text& text, const typename Text::value_type* blanks) {
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == Text::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace Tools
