#pragma once

#include <string>

/// @file
/// The canonical texts that are signed for a request (`BuildHmacAuthorizationHeader`). Client and service
/// must build the same bytes, so the fields are copied unchanged, including case, white space and line feeds.
/// Caller and service agree on the content of the second to fourth fields. All functions are thread-safe.
namespace Kuv::Util {

/// Returns the text for a request with parameters: five fields, separated by line feeds. An empty first field
/// is omitted with its line feed; any other empty field keeps its line. The first field can be the date of
/// `BuildDateHeader`; the fifth is the result of `BuildParameterString` without masked names.
std::string BuildAuthorizationSignature(const std::string& first, const std::string& second,
                                        const std::string& third, const std::string& fourth,
                                        const std::string& parameters);

/// Returns the text for a request with a JSON body: the first four fields as above, an empty line and the
/// SHA-512 digest (FIPS 180-4) of the body as 128 lower-case hexadecimal digits, without a line feed at the
/// end. Returns an empty text and logs at `Error` if the digest cannot be computed.
std::string BuildJsonAuthorizationSignature(const std::string& first, const std::string& second,
                                            const std::string& third, const std::string& fourth,
                                            const std::string& body);

}  // namespace Kuv::Util
