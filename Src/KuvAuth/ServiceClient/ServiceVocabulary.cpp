#include "KuvAuth/ServiceClient/ServiceVocabulary.h"

#include <iterator>
#include <string_view>

namespace Kuv::Util {

namespace {

// The index into each table is the value.
constexpr std::string_view kFactors[] = {"auto", "passcode", "phone", "push", "sms"};
constexpr std::string_view kResults[] = {"allow", "auth", "deny", "enroll", "waiting"};
constexpr std::string_view kStatuses[] = {"allow",      "answered", "bypass",      "calling", "deny", "fraud",
                                          "locked_out", "pushed",   "push_failed", "timeout", "sent"};

template <typename Enumeration, std::size_t Count>
std::string ToText(const std::string_view (&texts)[Count], Enumeration value) {
  const auto index = static_cast<std::uint32_t>(value);
  if (index >= Count) return {};
  return std::string{texts[index]};
}

template <typename Enumeration, std::size_t Count>
Enumeration FromText(const std::string_view (&texts)[Count], const std::string& text) {
  for (std::size_t index = 0; index < Count; ++index) {
    if (texts[index] == text) return static_cast<Enumeration>(index);
  }
  return static_cast<Enumeration>(-1);
}

}  // namespace

std::string AuthFactorToString(AuthFactor factor) {
  return ToText(kFactors, factor);
}

std::string AuthResultToString(AuthResult result) {
  return ToText(kResults, result);
}

std::string AuthStatusToString(AuthStatus status) {
  return ToText(kStatuses, status);
}

AuthFactor AuthFactorFromString(const std::string& text) {
  return FromText<AuthFactor>(kFactors, text);
}

AuthResult AuthResultFromString(const std::string& text) {
  return FromText<AuthResult>(kResults, text);
}

AuthStatus AuthStatusFromString(const std::string& text) {
  return FromText<AuthStatus>(kStatuses, text);
}

}  // namespace Kuv::Util
