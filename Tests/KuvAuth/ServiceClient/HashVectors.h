#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace KuvTest {

/// Formats bytes as lowercase hexadecimal digits, as the standards print them.
inline std::string Hex(const std::vector<std::uint8_t>& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += "0123456789abcdef"[byte / 16];
    text += "0123456789abcdef"[byte % 16];
  }
  return text;
}

}  // namespace KuvTest
