#pragma once

#include <cstdint>
#include <string>

/// @file
/// Parsing of the `Host` setting.

/// Truncates a "host:port" text at its first colon and returns the port as `atoi` reads it; 443 without a
/// colon. Does not check the range and does not support bracketed IPv6 addresses.
std::int32_t SplitHostAndPort(std::string& text);
