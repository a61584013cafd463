#include "KuvAuth/Configuration/SettingEnums.h"

#include <iterator>

#include "KuvAuth/Logging/LogFront.h"

namespace {

constexpr UsernameFormat kFormats[] = {UsernameFormat::SAM, UsernameFormat::NTLM, UsernameFormat::UPN};
constexpr UsernameFormat kFallback = UsernameFormat::NTLM;

UsernameFormat FallBack() {
  KUV_LOG(LogLevel::Warning, "Unrecognized Kuv username format; defaulting to %s",
          UsernameFormatName(kFallback).c_str());
  return kFallback;
}

}  // namespace

std::string UsernameFormatName(UsernameFormat format) {
  switch (format) {
    case UsernameFormat::SAM:
      return "SAM";
    case UsernameFormat::NTLM:
      return "NTLM";
    case UsernameFormat::UPN:
      return "UPN";
  }
  return "Unknown";
}

UsernameFormat UsernameFormatFromValue(std::uint32_t value) {
  return value < std::size(kFormats) ? kFormats[value] : FallBack();
}

UsernameFormat UsernameFormatFromName(const std::string& name) {
  for (const UsernameFormat format : kFormats) {
    if (name == UsernameFormatName(format)) return format;
  }
  return FallBack();
}

ElevationProtectionMode ElevationProtectionModeFromValue(std::uint32_t value) noexcept {
  constexpr auto kHighest = static_cast<std::uint32_t>(ElevationProtectionMode::LogonAndElevation);
  return static_cast<ElevationProtectionMode>(value > kHighest ? 0 : value);
}
