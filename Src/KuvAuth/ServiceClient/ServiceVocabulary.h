#pragma once

#include <cstdint>
#include <string>

/// @file
/// The words of the second-factor service. Each enumeration has a text for each value; a value outside it
/// has the empty text. A text is known only as it stands, with its case and without white space around it;
/// any other gives the value -1. Nothing is logged. Any thread may call.
namespace Kuv::Util {

/// A way to present the second factor.
enum class AuthFactor : std::int32_t {
  Auto = 0,      ///< "auto"
  Passcode = 1,  ///< "passcode"
  Phone = 2,     ///< "phone"
  Push = 3,      ///< "push"
  Sms = 4,       ///< "sms"
};

/// What comes next for a user.
enum class AuthResult : std::int32_t {
  Allow = 0,    ///< "allow"
  Auth = 1,     ///< "auth"
  Deny = 2,     ///< "deny"
  Enroll = 3,   ///< "enroll"
  Waiting = 4,  ///< "waiting"
};

/// The state of an authentication under way.
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
  Timeout = 9,     ///< "timeout", which stands before "sent", against the alphabet
  Sent = 10,       ///< "sent"
};

/// Gives the service's word for a factor, or an empty text for a value that is not in the enumeration.
std::string AuthFactorToString(AuthFactor factor);
/// Gives the service's word for a result, or an empty text for a value that is not in the enumeration.
std::string AuthResultToString(AuthResult result);
/// Gives the service's word for a status, or an empty text for a value that is not in the enumeration.
std::string AuthStatusToString(AuthStatus status);

/// Gives the factor of the service's word, or -1 for any other text.
AuthFactor AuthFactorFromString(const std::string& text);
/// Gives the result of the service's word, or -1 for any other text.
AuthResult AuthResultFromString(const std::string& text);
/// Gives the status of the service's word, or -1 for any other text.
AuthStatus AuthStatusFromString(const std::string& text);

}  // namespace Kuv::Util
