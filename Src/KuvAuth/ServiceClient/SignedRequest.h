#pragma once

#include <map>
#include <string>
#include <unordered_set>

/// @file
/// The pieces of an authenticated request. A header is a complete line that ends in CR LF. An empty text
/// is the only sign of failure, logged at `Error`; a request must not be sent without its header. Any
/// thread may call.
namespace Kuv::Util {

/// Request parameters: names, in ascending order of their bytes, and values in UTF-16.
using ParameterList = std::map<std::string, std::wstring>;

/// Names whose values are not shown, in their percent-encoded form.
using MaskedNameSet = std::unordered_set<std::string>;

/// Joins the parameters as percent-encoded "name=value" pairs with "&", the values in UTF-8. A name of
/// `masked` gets "#####" for its value: the text is then one to show, not one to send. A value that does
/// not convert to UTF-8 counts as empty; it ends at its first NUL.
std::string BuildParameterString(const ParameterList& parameters, const MaskedNameSet& masked);

/// Gives the `Date` header of this moment, an HTTP date in the form of RFC 1123 (RFC 9110, section
/// 5.6.7), and puts the bare date into `date` if that is not null, so that the same date can be signed.
/// On failure `date` keeps its text.
std::string BuildDateHeader(std::string* date);

/// Gives the header "name: value". Neither text is checked: a line end in one of them ends the header, so
/// texts from outside have to be checked by the caller. Never fails.
std::string BuildHeaderLine(const std::string& name, const std::string& value);

/// Gives the `Authorization` header of the basic scheme (RFC 7617): the user is `user`, the password is
/// the HMAC-SHA-1 (RFC 2104) of `text` under `key` in upper-case hexadecimal digits. `text` is made by
/// `BuildAuthorizationSignature` or `BuildJsonAuthorizationSignature`. Throws what the encoders throw.
std::string BuildHmacAuthorizationHeader(const std::string& key, const std::string& user,
                                         const std::string& text);

/// The same with `SKey` for the key and `IKey` for the user, both of the configuration as it stands: load
/// it (`EnsureConfigurationLoaded`) or fill it (`SetServiceCredentials`) first.
std::string BuildAuthorizationHeader(const std::string& text);

/// Whether "application/json" stands somewhere in the text. The case counts. Nothing is parsed.
bool IsJsonContentType(const std::string& contentType);

}  // namespace Kuv::Util
