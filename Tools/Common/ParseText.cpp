#include "Common/ParseText.h"

#include <charconv>

#include "KuvAuth/Support/Text.h"

namespace Tools {

std::optional<std::uint32_t> ParseNumber(const std::wstring& text) {
  const std::string digits = WideToUtf8(text);
  const bool hexadecimal = digits.starts_with("0x") || digits.starts_with("0X");
  const char* const end = digits.data() + digits.size();
  std::uint32_t number = 0;
  const auto [stop, error] =
      std::from_chars(digits.data() + (hexadecimal ? 2 : 0), end, number, hexadecimal ? 16 : 10);
  return error == std::errc{} && stop == end ? std::optional{number} : std::nullopt;
}

}  // namespace Tools
