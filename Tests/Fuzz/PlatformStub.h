#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace KuvFuzz {

/// Returns the stub's digest of a text: 64 bytes, or none for a text that starts with "!".
std::vector<std::uint8_t> StubDigest(const std::string& text);

/// Returns the stub's HMAC: 20 bytes, or none for a key that starts with "!".
std::vector<std::uint8_t> StubHmac(const std::string& key, const std::string& text);

/// The stub's current time as an HTTP date.
inline constexpr char kStubDate[] = "Sun, 06 Nov 1994 08:49:37 GMT";

/// Returns the stub's conversion of a value: its units truncated to 8 bits, up to the first NUL.
std::string StubNarrow(const std::wstring& value);

}  // namespace KuvFuzz
