#pragma once

#include <cstdint>
#include <string>

/// @file
/// The exception with a message for the user.

/// An error with a message for the user. Does not derive from `std::exception`, so that handlers for that
/// type do not catch it.
class CKuvException {
 public:
  static constexpr std::int32_t ErrorUnexpected = 1;      ///< any other error
  static constexpr std::int32_t ErrorCommunication = 2;   ///< the service cannot be reached
  static constexpr std::int32_t ErrorBadResponse = 3;     ///< the response of the service is invalid
  static constexpr std::int32_t ErrorBadCredentials = 4;  ///< the service rejects the user's input

  /// Creates the error. `message` is UTF-8; if it is empty, `GetErrorMessage` returns the code's default
  /// text.
  CKuvException(std::int32_t code, const std::string& message);
  CKuvException(const CKuvException&) = default;             ///< copies the error
  CKuvException& operator=(const CKuvException&) = default;  ///< copies the error
  virtual ~CKuvException() = default;

  /// Returns the code, one of the constants above or any other number.
  std::int32_t code() const noexcept { return code_; }

  /// Returns the message or, without one, the default text of the code. The default text of an unknown code
  /// is empty.
  std::wstring GetErrorMessage() const;

 private:
  std::int32_t code_;
  std::wstring message_;
};
