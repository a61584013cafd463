#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace KuvFuzz {

/// Returns the stub's digest of a text: 64 bytes, or none for a text that starts with "!".
std::vector<std::uint8_t> StubDigest(const std::string& text);

/// Returns the stub's conversion of a value: its units truncated to 8 bits, up to the first NUL.
std::string StubNarrow(const std::wstring& value);

}  // namespace KuvFuzz
