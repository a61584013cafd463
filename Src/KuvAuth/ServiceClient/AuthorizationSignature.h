#pragma once

#include <string>

/// @file
/// The canonical texts that a request's signature is made over (`BuildHmacAuthorizationHeader`). Client
/// and service must make the same bytes, so every field passes unchanged: no case, no white space and no
/// line feed in it is touched. What the second to fourth fields hold is up to caller and service. Any
/// thread may call.
namespace Kuv::Util {

/// Gives the text for a request whose parameters travel as parameter text: the five fields in lines, each
/// but the last ended by a line feed. An empty first field is left out with its line feed; the others
/// have their line even when empty. The first field may be the date of `BuildDateHeader`; the fifth is
/// `BuildParameterString` with nothing masked.
std::string BuildAuthorizationSignature(const std::string& first, const std::string& second,
                                        const std::string& third, const std::string& fourth,
                                        const std::string& parameters);

/// Gives the text for a request with a JSON body: the four fields as above, an empty line, and the
/// SHA-512 digest (FIPS 180-4) of the body's bytes as 128 lower-case hexadecimal digits, with no line
/// feed behind them. Gives an empty text, logged at `Error`, if the digest cannot be made.
std::string BuildJsonAuthorizationSignature(const std::string& first, const std::string& second,
                                            const std::string& third, const std::string& fourth,
                                            const std::string& body);

}  // namespace Kuv::Util
