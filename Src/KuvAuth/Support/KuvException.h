#pragma once

#include <cstdint>
#include <string>

/// An error with a text for the user: a code and an optional message of its own. It is no
/// `std::exception`, so that a handler for those does not swallow it.
class CKuvException {
 public:
  static constexpr std::int32_t ErrorUnexpected = 1;
  static constexpr std::int32_t ErrorCommunication = 2;
  static constexpr std::int32_t ErrorBadResponse = 3;
  static constexpr std::int32_t ErrorBadCredentials = 4;

  /// `message` is UTF-8; an empty one stands for the default text of the code.
  CKuvException(std::int32_t code, const std::string& message);
  CKuvException(const CKuvException&) = default;
  CKuvException& operator=(const CKuvException&) = default;
  virtual ~CKuvException() = default;

  std::int32_t code() const noexcept { return code_; }

  /// Gives the message, or the default text of the code, which is empty for an unknown one.
  std::wstring GetErrorMessage() const;

 private:
  std::int32_t code_;
  std::wstring message_;
};
