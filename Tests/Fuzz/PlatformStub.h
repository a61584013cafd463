#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace KuvFuzz {

/// Gives what the stub of `CryptoHash` makes of a text: 64 bytes, or none for a text that starts with "!".
std::vector<std::uint8_t> StubDigest(const std::string& text);

/// Gives what the stub of `WideToUtf8` makes of a value: its units cut to 8 bits, up to the first NUL.
std::string StubNarrow(const std::wstring& value);

}  // namespace KuvFuzz
