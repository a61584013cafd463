#include "KuvAuth/Signing/Failure.h"

#include <cstdio>

#include "KuvAuth/Support/SettingsKeys.h"

namespace Kuv::Signing {

namespace {

std::string DescribeCall(const Failure& failure) {
  char code[40];
  std::snprintf(code, sizeof(code), "%lu (0x%08lX)", static_cast<unsigned long>(failure.code),
                static_cast<unsigned long>(failure.code));
  return "The platform call " + failure.call + " failed for " + failure.field + ". {error: " + code + "}";
}

}  // namespace

std::string Failure::Describe() const {
  switch (reason) {
    case Reason::MissingSetting:
      return "Settings are missing: " + field + ". Set them in HKEY_LOCAL_MACHINE\\" + LocalKeyPath + ".";
    case Reason::Empty:
      return "Empty: " + field + ". A value is required.";
    case Reason::InvalidCharacter:
      return "Invalid character: " + field + ". Remove or encode it.";
    case Reason::InvalidEncoding:
      return "Not valid UTF-16: " + field + ". Correct the value.";
    case Reason::OutOfRange:
      return "Out of range: " + field + ". Correct the value.";
    case Reason::TooLong:
      return "Too long: " + field + ". At most " + std::to_string(kMaximumSize) + " characters are allowed.";
    case Reason::BodyNotAllowed:
      return "A request of this method cannot have a JSON body. Use another method, or parameters.";
    case Reason::PlatformCallFailed:
      return DescribeCall(*this);
  }
  return "Unknown reason: " + field + ".";
}

}  // namespace Kuv::Signing
