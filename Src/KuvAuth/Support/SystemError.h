#pragma once

#include <cstdint>
#include <string>

/// @file
/// The texts of the platform's error codes.

/// Gives the system's text for an error code, in the user's default language, through
/// `FormatMessageW`, without the line end and other white space at its end. An unknown code gives an
/// empty string.
std::wstring FormatSystemError(std::uint32_t code);
