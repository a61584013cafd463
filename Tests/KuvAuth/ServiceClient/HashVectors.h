#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <windows.h>

namespace KuvTest {

/// Gives the bytes as lower-case digits, as the standards print them.
inline std::string Hex(const std::vector<std::uint8_t>& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += "0123456789abcdef"[byte / 16];
    text += "0123456789abcdef"[byte % 16];
  }
  return text;
}

/// Whether the platform under the test is Wine, which differs in a few named places.
inline bool RunsUnderWine() {
  return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

}  // namespace KuvTest
