#pragma once

#include <cstdint>
#include <string>

namespace Tools {

/// Returns the system message of an error code, followed by the code: "Access denied. (error 5)". The code of
/// a failed HRESULT is hexadecimal.
std::string DescribeError(std::uint32_t code);

/// Formats an HRESULT as "0x80004001".
std::string HresultText(std::int32_t result);

}  // namespace Tools
