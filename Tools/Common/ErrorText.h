#pragma once

#include <cstdint>
#include <string>

namespace Tools {

/// Returns the platform's description of an error code, and the code: "Access denied. (error 5)". A failing
/// HRESULT is shown in hexadecimal.
std::string DescribeError(std::uint32_t code);

/// Formats an HRESULT as "0x80004001".
std::string HresultText(std::int32_t result);

}  // namespace Tools
