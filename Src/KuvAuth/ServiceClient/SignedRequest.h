#pragma once

#include <map>
#include <string>
#include <unordered_set>

/// @file
/// The parts of an authenticated request. A header is a complete line that ends in CR LF. Functions that can
/// fail return an empty text and log at `Error`; do not send a request without its header. All functions are
/// thread-safe as long as no thread changes the configuration. Implemented in SignedRequest.cpp,
/// DateHeader.cpp and ParameterString.cpp.
namespace Kuv::Util {

/// Request parameters: names, in ascending order of their bytes, and values in UTF-16.
using ParameterList = std::map<std::string, std::wstring>;

/// Names of parameters whose values are masked, in percent-encoded form.
using MaskedNameSet = std::unordered_set<std::string>;

/// Returns the parameters as percent-encoded "name=value" pairs, joined by "&", with values in UTF-8. The
/// value of a name in `masked` is replaced by "#####": use such a text for display only. A value ends at its
/// first NUL; one that cannot be converted to UTF-8 is treated as empty.
[[nodiscard]] std::string BuildParameterString(const ParameterList& parameters, const MaskedNameSet& masked);

/// Returns the `Date` header with the current time, an HTTP date in the form of RFC 1123 (RFC 9110, section
/// 5.6.7). Copies the date itself to `date`, unless that is null, so that the same date can be signed. On
/// failure, does not change `date`.
[[nodiscard]] std::string BuildDateHeader(std::string* date);

/// Returns the header "name: value". Does not check the texts: a line end in one of them terminates the
/// header, so the caller must check texts from untrusted sources. Never fails.
[[nodiscard]] std::string BuildHeaderLine(const std::string& name, const std::string& value);

/// Returns the `Authorization` header of the basic scheme (RFC 7617) with `user` and, as the password, the
/// HMAC-SHA-1 (RFC 2104) of `text` under `key` in upper-case hexadecimal digits. Pass the result of
/// `BuildAuthorizationSignature` or `BuildJsonAuthorizationSignature` as `text`. Throws what the encoders
/// throw. All three texts have the same type: a key in the place of `user` is sent. `Kuv::Signing::Sign`
/// takes typed credentials.
[[nodiscard]] std::string BuildHmacAuthorizationHeader(const std::string& key, const std::string& user,
                                                       const std::string& text);

/// Does the same with `SKey` as the key and `IKey` as the user, both from the configuration. Load it
/// (`EnsureConfigurationLoaded`) or set the keys (`SetServiceCredentials`) first: this function does not
/// check them, so it signs with empty keys otherwise.
[[nodiscard]] std::string BuildAuthorizationHeader(const std::string& text);

/// Returns whether the text contains "application/json". The search is case-sensitive.
[[nodiscard]] bool IsJsonContentType(const std::string& contentType);

}  // namespace Kuv::Util
