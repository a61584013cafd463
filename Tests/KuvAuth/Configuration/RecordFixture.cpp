#include "RecordFixture.h"

#include <objbase.h>

#include <cstdint>

#include "KuvAuth/Support/Text.h"

namespace KuvTest {

namespace {

std::string DescribeIdentifiers(const std::vector<GUID>& identifiers) {
  std::string text;
  for (const GUID& identifier : identifiers) {
    wchar_t buffer[39] = {};
    ::StringFromGUID2(identifier, buffer, 39);
    text += WideToUtf8(buffer);
  }
  return text;
}

}  // namespace

std::string Describe(const Configuration& record) {
  const auto number = [](const char* name, std::uint64_t value) {
    return std::string{" "} + name + "=" + std::to_string(value);
  };
  return "Host=" + record.Host + number("Port", record.Port) + " IKey=" + record.IKey +
         " SKey=" + record.SKey + " HttpProxyHost=" + record.HttpProxyHost +
         number("HttpProxyPort", record.HttpProxyPort) + number("OfflineMaxUsers", record.OfflineMaxUsers) +
         number("InactivityTimeoutSeconds", record.InactivityTimeoutSeconds) +
         " ProvidersWhitelist=" + DescribeIdentifiers(record.ProvidersWhitelist) +
         number("FailOpen", record.FailOpen) + number("AutoPush", record.AutoPush) +
         number("local_ip_fallback", record.local_ip_fallback) +
         number("EnableSmartCards", record.EnableSmartCards) +
         number("WrapSmartCards", record.WrapSmartCards) +
         number("OfflineAvailable", record.OfflineAvailable) +
         number("ElevationOfflineEnable", record.ElevationOfflineEnable) +
         number("ElevationOfflineEnrollment", record.ElevationOfflineEnrollment) +
         number("ElevationProtectionMode", static_cast<std::uint64_t>(record.ElevationProtectionMode)) +
         number("UsernameFormat", static_cast<std::uint64_t>(record.UsernameFormat));
}

}  // namespace KuvTest
