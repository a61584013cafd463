#include "KuvAuth/ServiceClient/Encoders.h"
#include "KuvAuth/ServiceClient/SignedRequest.h"
#include "KuvAuth/Support/Text.h"

namespace Kuv::Util {

namespace {

constexpr char kMask[] = "#####";

std::string EncodeValue(const std::wstring& value) {
  const std::string text = WideToUtf8(value);
  // A NUL at the start means that the conversion failed; converted text contains no NUL.
  if (!text.empty() && text.front() == '\0') return {};
  return PercentEncode(text);
}

}  // namespace

std::string BuildParameterString(const ParameterList& parameters, const MaskedNameSet& masked) {
  std::string result;
  for (const auto& [name, value] : parameters) {
    const std::string encodedName = PercentEncode(name);
    if (!result.empty()) result += '&';
    result.append(encodedName).append("=");
    result += masked.contains(encodedName) ? kMask : EncodeValue(value);
  }
  return result;
}

}  // namespace Kuv::Util
