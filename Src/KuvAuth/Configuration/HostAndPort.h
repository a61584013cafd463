#pragma once

#include <cstdint>
#include <string>

/// @file
/// The text of the `Host` setting.

/// Cuts a "host:port" text at its first colon and gives the number behind it as `atoi` reads it, 443
/// without a colon. No range is checked, and brackets around an IPv6 address are not known.
std::int32_t SplitHostAndPort(std::string& text);
