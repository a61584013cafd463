#pragma once

#include <cstdint>
#include <string>

/// @file
/// The vocabulary of the second-factor service: enumerations and the text of each value. Texts are compared
/// exactly, including case and white space. All functions are thread-safe and log nothing.
namespace Kuv::Util {

/// The method of the second factor.
enum class AuthFactor : std::int32_t {
  Auto = 0,      ///< "auto"
  Passcode = 1,  ///< "passcode"
  Phone = 2,     ///< "phone"
  Push = 3,      ///< "push"
  Sms = 4,       ///< "sms"
};

/// The next step for a user.
enum class AuthResult : std::int32_t {
  Allow = 0,    ///< "allow"
  Auth = 1,     ///< "auth"
  Deny = 2,     ///< "deny"
  Enroll = 3,   ///< "enroll"
  Waiting = 4,  ///< "waiting"
};

/// The state of a running authentication.
enum class AuthStatus : std::int32_t {
  Allow = 0,       ///< "allow"
  Answered = 1,    ///< "answered"
  Bypass = 2,      ///< "bypass"
  Calling = 3,     ///< "calling"
  Deny = 4,        ///< "deny"
  Fraud = 5,       ///< "fraud"
  LockedOut = 6,   ///< "locked_out"
  Pushed = 7,      ///< "pushed"
  PushFailed = 8,  ///< "push_failed"
  Timeout = 9,     ///< "timeout"; the values of this and the next one are not in alphabetical order
  Sent = 10,       ///< "sent"
};

/// The result of `AuthFactorFromString` for an unknown text. Not an enumerator: it has no text.
inline constexpr AuthFactor AuthFactorUnknown{-1};
/// The result of `AuthResultFromString` for an unknown text.
inline constexpr AuthResult AuthResultUnknown{-1};
/// The result of `AuthStatusFromString` for an unknown text.
inline constexpr AuthStatus AuthStatusUnknown{-1};

/// Returns the text of a factor, or an empty text for a value that is not in the enumeration.
[[nodiscard]] std::string AuthFactorToString(AuthFactor factor);
/// Returns the text of a result, or an empty text for a value that is not in the enumeration.
[[nodiscard]] std::string AuthResultToString(AuthResult result);
/// Returns the text of a status, or an empty text for a value that is not in the enumeration.
[[nodiscard]] std::string AuthStatusToString(AuthStatus status);

/// Returns the factor with this text, or `AuthFactorUnknown` (-1).
[[nodiscard]] AuthFactor AuthFactorFromString(const std::string& text);
/// Returns the result with this text, or `AuthResultUnknown` (-1).
[[nodiscard]] AuthResult AuthResultFromString(const std::string& text);
/// Returns the status with this text, or `AuthStatusUnknown` (-1).
[[nodiscard]] AuthStatus AuthStatusFromString(const std::string& text);

}  // namespace Kuv::Util
