#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "KuvAuth/ServiceClient/SignedRequest.h"

namespace Kuv::Signing {

/// A JSON body, in UTF-8. The bytes are signed and sent unchanged; their syntax is not checked.
struct JsonBody {
  std::string text{};  ///< the body
};

/// A request to sign. Name the fields:
/// `{.method = "POST", .path = "/v1/auth", .content = ParameterList{{"factor", L"push"}}}`.
struct Request {
  std::string method{};  ///< the method in upper case, for example "POST"
  std::string path{};    ///< the path, percent-encoded, without parameters, for example "/v1/auth"
  /// The parameters, or a JSON body. No parameters by default.
  std::variant<Util::ParameterList, JsonBody> content{};
  /// The date to sign and send, for tests or if the clock of this machine is wrong (`FormatHttpDate`). The
  /// current time by default.
  std::optional<std::string> date{};
};

/// A header: the two sides of "name: value".
struct Header {
  std::string name{};   ///< the name
  std::string value{};  ///< the value, without a line end
};

/// A request that is signed and ready to send. Send all parts unchanged. No text of it contains a CR, LF or
/// NUL, except the body of a JSON request and the line feeds of `canonicalText`.
struct SignedRequest {
  std::string method{};  ///< the method
  std::string host{};    ///< the host that is signed, without the port; the name in the `Host` header
  std::string target{};  ///< the path and, for a method without a body, "?" and the parameters
  std::vector<Header> headers{};  ///< `Date`, `Authorization` and, with a body, `Content-Type`
  std::string body{};             ///< the parameters or the JSON body; empty for a method without a body
  std::string contentType{};      ///< the value of `Content-Type`; empty for a method without a body
  std::string canonicalText{};    ///< the text that is signed, for comparison with that of a service

  /// Returns each header as "name: value", without a line end, as the option `-H` of curl takes it.
  [[nodiscard]] std::vector<std::string> HeaderLines() const;
  /// Returns all headers as one text in which each line ends in CR LF, as `WinHttpAddRequestHeaders` takes
  /// it.
  [[nodiscard]] std::string HeaderBlock() const;
};

/// Returns whether a request of this method sends its parameters after the path instead of in a body: true
/// for "GET", "HEAD" and "DELETE".
[[nodiscard]] bool HasNoBody(std::string_view method) noexcept;

}  // namespace Kuv::Signing
