#pragma once

#include <cstdint>
#include <string>

// The words of the second-factor service. Each enumeration has a text for each value; a value outside it
// has the empty text. A text is known only as it stands, with its case and without white space around it;
// any other gives the value -1. Nothing is logged. Any thread may call.
namespace Kuv::Util {

/// A way to present the second factor.
enum class AuthFactor : std::int32_t { Auto = 0, Passcode = 1, Phone = 2, Push = 3, Sms = 4 };

/// What comes next for a user.
enum class AuthResult : std::int32_t { Allow = 0, Auth = 1, Deny = 2, Enroll = 3, Waiting = 4 };

/// The state of an authentication under way.
enum class AuthStatus : std::int32_t {
  Allow = 0,
  Answered = 1,
  Bypass = 2,
  Calling = 3,
  Deny = 4,
  Fraud = 5,
  LockedOut = 6,
  Pushed = 7,
  PushFailed = 8,
  Timeout = 9,  // before "sent", against the alphabet
  Sent = 10,
};

/// Gives the service's word, or an empty text for a value that is not in the enumeration.
std::string AuthFactorToString(AuthFactor factor);
std::string AuthResultToString(AuthResult result);
std::string AuthStatusToString(AuthStatus status);

/// Gives the value of the service's word, or -1.
AuthFactor AuthFactorFromString(const std::string& text);
AuthResult AuthResultFromString(const std::string& text);
AuthStatus AuthStatusFromString(const std::string& text);

}  // namespace Kuv::Util
