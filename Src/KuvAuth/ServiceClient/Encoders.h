#pragma once

#include <cstdint>
#include <string>

#include "KuvAuth/ServiceClient/AtlException.h"

/// @file
/// The text encodings of the service protocol. Without state: any thread may call. A text above the
/// string's maximum size throws `std::length_error`.
namespace Kuv::Util {

/// Gives the base64 text of `length` bytes (RFC 4648, section 4): the standard alphabet, padded, on one
/// line. A null pointer or a length of 0 gives an empty text. Only the low 32 bits of the length count,
/// as a signed number: 0x20000000 and more throw `CAtlException` with E_FAIL; 0 or a negative number is
/// logged at `Error` and gives an empty text. Nothing is read in any of these cases.
std::string Base64Encode(const void* data, std::uint64_t length);

/// Gives two upper-case hexadecimal digits for each of `length` bytes (RFC 4648, section 8). A null
/// pointer or a length of 0 gives an empty text. Only the low 32 bits of the length count: 0 gives an
/// empty text, 0x40000000 to 0xBFFFFFFF throw `CAtlException` with E_FAIL, and from 0xC0000000 the
/// failure is logged at `Error` and the text is empty. Nothing is read in any of these cases.
std::string AtlHexEncode(const void* data, std::uint64_t length);

/// Gives the same text as `AtlHexEncode`, with no limit but that of the string, no log and no check of
/// the pointer. A length of 0 gives an empty text.
std::string BytesToHexString(const void* data, std::uint64_t length);

/// Percent-encodes every byte but the 66 unreserved characters of RFC 3986, section 2.3 (letters,
/// digits, "-", ".", "_", "~"), with upper-case digits. A blank becomes "%20". An embedded NUL is a byte
/// like any other.
std::string PercentEncode(const std::string& text);

}  // namespace Kuv::Util
