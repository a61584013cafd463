#pragma once

#include <cstdint>
#include <string>

/// @file
/// Messages of system error codes.

/// Returns the system's message for an error code (`FormatMessageW`) in the user's default language, without
/// trailing white space. Returns an empty string for an unknown code.
[[nodiscard]] std::wstring FormatSystemError(std::uint32_t code);
