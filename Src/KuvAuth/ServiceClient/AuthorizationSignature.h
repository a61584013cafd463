#pragma once

#include <string>

/// @file
/// The canonical texts that are signed for a request (`BuildHmacAuthorizationHeader`). Client and service
/// must build the same bytes, so the fields are copied unchanged, including case, white space and line feeds.
/// Caller and service agree on the content of the second to fourth fields. All functions are thread-safe.
///
/// Two different requests can have the same text, and then the same signature:
/// - A line feed in a field is not escaped, so ("a\nb", "c") and ("a", "b\nc") are the same two lines.
/// - Without the first field, the text for a JSON body has as many lines as the text for parameters with it.
///   They are equal if the second to fourth fields of the JSON request are the first to third of the other,
///   whose fourth is empty and whose fifth is the digest.
///
/// `Kuv::Signing::Sign` refuses both. Callers of these functions must reject line feeds in the first four
/// fields and always pass a date.
namespace Kuv::Util {

/// Returns the text for a request with parameters: five fields, separated by line feeds. An empty first field
/// is omitted with its line feed; any other empty field keeps its line. The first field can be the date of
/// `BuildDateHeader`; the fifth is the result of `BuildParameterString` without masked names.
[[nodiscard]] std::string BuildAuthorizationSignature(const std::string& first, const std::string& second,
                                                      const std::string& third, const std::string& fourth,
                                                      const std::string& parameters);

/// Returns the text for a request with a JSON body: the first four fields as above, an empty line and the
/// SHA-512 digest (FIPS 180-4) of the body as 128 lower-case hexadecimal digits, without a line feed at the
/// end. Returns an empty text and logs at `Error` if the digest cannot be computed.
[[nodiscard]] std::string BuildJsonAuthorizationSignature(const std::string& first, const std::string& second,
                                                          const std::string& third, const std::string& fourth,
                                                          const std::string& body);

}  // namespace Kuv::Util
