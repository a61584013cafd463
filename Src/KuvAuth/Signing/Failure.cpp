#include "KuvAuth/Signing/Failure.h"

#include "KuvAuth/ServiceClient/Encoders.h"
#include "KuvAuth/Support/SettingsKeys.h"

namespace Kuv::Signing {

namespace {

std::string Hexadecimal(std::uint32_t code) {
  const std::uint8_t bytes[] = {static_cast<std::uint8_t>(code >> 24), static_cast<std::uint8_t>(code >> 16),
                                static_cast<std::uint8_t>(code >> 8), static_cast<std::uint8_t>(code)};
  return "0x" + Util::BytesToHexString(bytes, sizeof(bytes));
}

std::string DescribeCall(const Failure& failure) {
  return "The platform call " + failure.call + " failed for " + failure.field +
         ". {error: " + std::to_string(failure.code) + " (" + Hexadecimal(failure.code) + ")}";
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
