#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Kuv::Signing {

/// Why a function of this layer has no value to return.
enum class Reason {
  MissingSetting,     ///< settings are absent or empty; `Failure::field` lists their names, separated by ", "
  Empty,              ///< the field is empty
  InvalidCharacter,   ///< the field contains a character that it must not contain
  InvalidEncoding,    ///< the value of the parameter is not valid UTF-16
  OutOfRange,         ///< a port of 0, or a time outside the years 0 to 9999
  TooLong,            ///< the texts of the request have more than `kMaximumSize` characters in total
  BodyNotAllowed,     ///< a request of this method has no body (`HasNoBody`), so it cannot have a JSON body
  PlatformCallFailed  ///< `Failure::call` failed with `Failure::code`
};

/// The largest total size of the texts of a request, and the largest size of the keys, in characters
/// (134,217,728). All encoded texts then stay below the limits of the platform's calls.
inline constexpr std::size_t kMaximumSize = 0x8000000;

/// The reason of a failure. Contains neither a key nor a value of the request.
struct Failure {
  Reason reason = Reason::Empty;  ///< why
  /// The field: "method", "path", "date", "parameters", "body", "host", "port", "integrationKey" or
  /// "secretKey"; "request" for its total size; "parameters." and the percent-encoded name for one parameter;
  /// the names of settings; or the part of the request that the failed platform call computes ("date", "body"
  /// or "signature").
  std::string field{};
  std::string call{};      ///< the function of the platform, for example "CryptAcquireContextW", or empty
  std::uint32_t code = 0;  ///< the error code of the platform (`GetLastError`), or 0 if it has none

  /// Returns a sentence for a log or an administrator: what failed, for which field, and the error code.
  /// Contains neither a key nor a value of the request, and only visible ASCII characters and spaces.
  [[nodiscard]] std::string Describe() const;
};

}  // namespace Kuv::Signing
