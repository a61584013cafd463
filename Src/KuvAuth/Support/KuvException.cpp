#include "KuvAuth/Support/KuvException.h"

#include "KuvAuth/Support/Text.h"

namespace {

const wchar_t* DefaultMessage(std::int32_t code) noexcept {
  switch (code) {
    case CKuvException::ErrorUnexpected:
      return L"There was an unexpected error while performing authentication.  "
             L"Please contact your system administrator.";
    case CKuvException::ErrorCommunication:
      return L"There was an error communicating with the Kuv authentication server.  Please try again.";
    case CKuvException::ErrorBadResponse:
      return L"The Kuv authentication server returned an unexpected response.  "
             L"Please contact your system administrator.";
    case CKuvException::ErrorBadCredentials:
      return L"Your Kuv authentication information was incorrect.  Please try again.";
    default:
      return L"";
  }
}

}  // namespace

CKuvException::CKuvException(std::int32_t code, const std::string& message)
    : code_(code), message_(Utf8ToWide(message)) {}

std::wstring CKuvException::GetErrorMessage() const {
  if (message_.empty()) return DefaultMessage(code_);
  return message_;
}
