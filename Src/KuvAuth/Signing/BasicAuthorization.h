#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Kuv::Signing {

/// The parts of a received `Authorization` header.
struct BasicAuthorization {
  std::string identifier{};  ///< without a colon
  std::string signature{};   ///< 40 characters
};

/// Parses the value of an `Authorization` header with the basic scheme (RFC 7617): the name of the scheme in
/// any case, at least one space, and the strict base64 form of the identifier, ":" and 40 characters. Returns
/// nothing for any other text.
std::optional<BasicAuthorization> ParseBasicAuthorization(std::string_view text);

/// Decodes base64 (RFC 4648, section 4). Returns nothing if the padding is absent, if the text contains
/// another character, or if an unused bit is set (section 3.5).
std::optional<std::string> DecodeBase64(std::string_view text);

}  // namespace Kuv::Signing
