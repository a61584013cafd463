#pragma once

#include <chrono>
#include <string_view>
#include <variant>

#include "KuvAuth/Signing/Credentials.h"

namespace Kuv::Signing {

/// Parameters as they were received, in the body or after the "?": percent-encoded, not decoded.
struct ReceivedParameters {
  std::string_view text{};  ///< the text
};

/// A JSON body as it was received.
struct ReceivedJson {
  std::string_view text{};  ///< the text
};

/// A request that a service received. Holds views only: the texts must outlive it.
struct ReceivedRequest {
  std::string_view method{};  ///< the method
  std::string_view host{};    ///< the name in the `Host` header, without a port
  std::string_view path{};    ///< the path as received, up to the "?"
  std::variant<ReceivedParameters, ReceivedJson> content{};  ///< the parameters or the JSON body
  std::string_view date{};           ///< the value of the `Date` header, without white space at the ends
  std::string_view authorization{};  ///< the value of the `Authorization` header, likewise
};

/// The result of a verification.
enum class [[nodiscard]] Verdict{Rejected, Accepted};

/// Verifies the signature of a received request, for services and tests. Accepts it if
/// - the method, path and date could have been signed by `Sign`, and the parameters contain only what
///   `BuildParameterString` writes, so that no other request has the same signed text;
/// - the host is that of the credentials, in the same case;
/// - the date has the form of an HTTP date ("Sun, 06 Nov 1994 08:49:37 GMT", IMF-fixdate of RFC 9110, section
///   5.6.7) and differs from `now` by at most `allowedSkew`;
/// - the authorization is "Basic" in any case, spaces, and the base64 form (RFC 4648, section 4, with padding
///   and no unused bits set) of the integration key, ":" and the 40 upper-case digits of the signature.
///
/// The integration key and the digits are compared in a time that does not depend on where they differ, and
/// the signature is computed even if another check fails. A request is rejected, too, if a call of the
/// platform fails. Does not detect a repeated request: a service that must do so keeps the signatures of the
/// last two times `allowedSkew`. Logs nothing. Thread-safe. Throws only `std::bad_alloc`.
Verdict Verify(const ReceivedRequest& request, const Credentials& credentials, std::chrono::sys_seconds now,
               std::chrono::seconds allowedSkew);

/// Why a request is rejected: the first check that fails, in this order.
enum class Rejection {
  None,           ///< the request is accepted
  Credentials,    ///< the credentials were moved from
  TooLong,        ///< the texts have more than `kMaximumSize` characters in total
  Method,         ///< a method that `Sign` refuses
  Host,           ///< another host than that of the credentials
  Path,           ///< a path that `Sign` refuses
  Parameters,     ///< characters that `BuildParameterString` does not write
  DateFormat,     ///< not an HTTP date
  DateWindow,     ///< too far from the present time
  Authorization,  ///< not the basic scheme with a signature
  Identifier,     ///< another integration key
  PlatformCall,   ///< the signature cannot be computed
  Signature       ///< another signature: another key, or a changed request
};

/// Debug aid: verifies as `Verify` does and returns the reason. Do not send the reason to the client, which
/// would help an attacker.
[[nodiscard]] Rejection ExplainRejection(const ReceivedRequest& request, const Credentials& credentials,
                                         std::chrono::sys_seconds now, std::chrono::seconds allowedSkew);

}  // namespace Kuv::Signing
