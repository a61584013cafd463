#include "SignedRequest/ExampleError.h"

#include <algorithm>

#include <KuvAuth/Support/Text.h>

namespace SignedRequest {

void ThrowUsage(const std::string& message) {
  throw ExampleError{ExitCode::Usage, message + "; --help lists the arguments"};
}

std::string Printable(std::string text, bool lines) {
  std::replace_if(
      text.begin(), text.end(),
      [lines](char unit) {
        const auto code = static_cast<unsigned char>(unit);
        return (code < 0x20 || code == 0x7F) && !(lines && unit == '\n');
      },
      '?');
  return text;
}

std::string Quoted(const std::wstring& text) {
  return "'" + Printable(WideToUtf8(text)) + "'";
}

}  // namespace SignedRequest
