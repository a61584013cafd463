#pragma once

#include <cstdint>
#include <string>

#include "KuvAuth/ServiceClient/AtlException.h"
#include "KuvAuth/ServiceClient/ByteView.h"

/// @file
/// The text encodings of the service protocol. All functions are thread-safe and throw `std::length_error`
/// for a result above the string's maximum size.
namespace Kuv::Util {

/// Returns the base64 text of `length` bytes (RFC 4648, section 4) with the standard alphabet and padding, on
/// one line. Returns an empty text for a null pointer or a length of 0. Uses only the low 32 bits of the
/// length, as a signed number: throws `CAtlException` with `E_FAIL` if it is 0x20000000 or more; logs at
/// `Error` and returns an empty text if it is 0 or negative. Reads no data in these cases.
[[nodiscard]] std::string Base64Encode(const void* data, std::uint64_t length);

/// Returns two upper-case hexadecimal digits for each of `length` bytes (RFC 4648, section 8). Returns an
/// empty text for a null pointer or a length of 0. Uses only the low 32 bits of the length: returns an empty
/// text for 0; throws `CAtlException` with `E_FAIL` from 0x40000000 to 0xBFFFFFFF; logs at `Error` and
/// returns an empty text from 0xC0000000. Reads no data in these cases.
[[nodiscard]] std::string AtlHexEncode(const void* data, std::uint64_t length);

/// Returns the same text as `AtlHexEncode`, but limits the length only by the string's maximum size, logs
/// nothing and does not check the pointer.
[[nodiscard]] std::string BytesToHexString(const void* data, std::uint64_t length);

/// Percent-encodes every byte except the 66 unreserved characters of RFC 3986, section 2.3 (letters, digits,
/// "-", ".", "_", "~"), with upper-case digits. Encodes a space as "%20" and a NUL as "%00".
[[nodiscard]] std::string PercentEncode(const std::string& text);
/// Does the same for `length` bytes. Returns an empty text for a null pointer.
[[nodiscard]] std::string PercentEncode(const void* data, std::uint64_t length);
/// Does the same for a view, without a copy.
template <ByteView View>
[[nodiscard]] std::string PercentEncode(const View& view) {
  const std::span<const std::byte> bytes = AsBytes(view);
  return PercentEncode(bytes.data(), bytes.size());
}

}  // namespace Kuv::Util
