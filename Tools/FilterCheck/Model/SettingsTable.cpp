#include "FilterCheck/Model/SettingsTable.h"

#include <algorithm>
#include <array>
#include <memory>

#include "Common/Identifier.h"
#include "Common/PlainText.h"
#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/Configuration/KuvAuthConfig.h"
#include "KuvAuth/Logging/LogFront.h"

namespace FilterCheck {

namespace {

using Tools::IdentifierText;
using Tools::PlainText;

constexpr std::uint32_t kAny = 0xFFFFFFFF;
constexpr std::uint32_t kMostLogMegabytes = 4096;
constexpr std::uint32_t kMostLogFiles = 100;

std::string TextOrNotSet(const std::string& text) {
  return text.empty() ? "not set" : PlainText(text);
}

template <std::string Configuration::*Field>
std::string RecordText() {
  return TextOrNotSet(GetConfiguration()->*Field);
}

template <bool Configuration::*Field>
std::string RecordFlag() {
  return GetConfiguration()->*Field ? "1" : "0";
}

template <std::uint32_t Configuration::*Field>
std::string RecordNumber() {
  return std::to_string(GetConfiguration()->*Field);
}

std::string HostWithPort() {
  const Configuration& record = *GetConfiguration();
  return record.Host.empty() ? TextOrNotSet({}) : PlainText(record.Host) + ":" + std::to_string(record.Port);
}

// The key itself is never shown.
std::string SetOrNotSet() {
  return GetConfiguration()->SKey.empty() ? "not set" : "set";
}

std::string Whitelist() {
  std::string list;
  for (const GUID& provider : GetConfiguration()->ProvidersWhitelist)
    list += (list.empty() ? "" : ", ") + IdentifierText(provider);
  return list.empty() ? "none" : list;
}

std::string UsernameFormatInForce() {
  constexpr auto kDefault = static_cast<std::uint32_t>(UsernameFormat::NTLM);
  const std::uint32_t stored = GetDwordSetting("UsernameFormatForService", kDefault);
  return std::to_string(static_cast<std::uint32_t>(UsernameFormatFromValue(stored)));
}

std::string ElevationInForce() {
  return std::to_string(static_cast<std::uint32_t>(GetElevationProtectionMode()));
}

std::string RdpOnlyInForce() {
  return IsRdpOnly() ? "1" : "0";
}

// The library sets the level in the log of the process. Here that is a temporary log without handlers.
std::string LogDetail() {
  auto log = std::make_shared<Kuv::LogSystem>();
  g_logSystem.swap(log);
  ApplyConfiguredLogLevel();
  g_logSystem.swap(log);
  return log->minLevel == LogLevel::Trace ? "2" : log->minLevel == LogLevel::Debug ? "1" : "0";
}

std::string LogMegabytes() {
  return std::to_string(std::min(GetDwordSetting("LogFileMaxSizeMB", 0), kMostLogMegabytes));
}

std::string LogFiles() {
  return std::to_string(std::min(GetDwordSetting("LogFileMaxCount", 0), kMostLogFiles));
}

constexpr std::string_view kTextLimits =
    "White space is removed. A value of another type or with more than 1,023 characters is ignored.";
constexpr std::string_view kFlagLimits =
    "Any number except 0 means on. A value of another type or with more than 4 bytes is ignored.";

constexpr SettingInfo Text(std::string_view name, std::string (*effective)(), std::string_view meaning,
                           std::string_view limits = kTextLimits) {
  return {name,      SettingKind::Text,   0,         0,       Beyond::AsStored,
          "not set", Effect::NextProcess, effective, meaning, limits};
}

constexpr SettingInfo Flag(std::string_view name, std::string_view byDefault, std::string (*effective)(),
                           std::string_view meaning) {
  return {name,      SettingKind::Flag,   0,         1,       Beyond::AsStored,
          byDefault, Effect::NextProcess, effective, meaning, kFlagLimits};
}

constexpr std::array kSettings{
    Text("Host", HostWithPort,
         "Host name of the second-factor service, followed by `:port` if the port is not 443. Without this "
         "setting, the second factor is not required.",
         "White space is removed. The first colon separates the port, so an IPv6 address is not possible. "
         "With a port of 0 or without digits, the second factor is not required. If the port is above "
         "65,535, only its low 16 bits are used. A value of another type or with more than 1,023 characters "
         "is ignored."),
    Text("IKey", RecordText<&Configuration::IKey>,
         "Client identifier at the service. Without this setting, the second factor is not required."),
    Text("SKey", SetOrNotSet,
         "Client key that signs requests to the service. It is a secret. Without this setting, the second "
         "factor is not required."),
    SettingInfo{
        "ElevationProtectionMode", SettingKind::Choice, 0, 2, Beyond::Default, "0", Effect::AtOnce,
        ElevationInForce,
        "Where the second factor is required: 0 at sign-in, unlock and password change; 1 at elevation "
        "prompts only; 2 at both.",
        "A number above 2 is treated as 0. A value of another type or size is ignored."},
    SettingInfo{
        "RdpOnly", SettingKind::ExactFlag, 0, 1, Beyond::Default, "0", Effect::AtOnce, RdpOnlyInForce,
        "1: the second factor is required in Remote Desktop sessions only. At the console, users sign in "
        "without it. Elevation prompts are not affected.",
        "Any number except 1 means off. A value of another type or size is ignored."},
    SettingInfo{
        "ProvidersWhitelist", SettingKind::Providers, 0, 0, Beyond::AsStored, "none", Effect::NextProcess,
        Whitelist,
        "Class identifiers, in braces, of other credential providers that the filter shows where the second "
        "factor is required. Each is a way to sign in without the second factor.",
        "A list of another type or with more than 760 bytes (nine identifiers) is ignored as a whole. An "
        "entry that is not a class identifier is ignored."},
    Flag("EnableSmartCards", "0", RecordFlag<&Configuration::EnableSmartCards>,
         "1: the filter shows one smart card provider where the second factor is required: that of Windows, "
         "unless `WrapSmartCards` is on."),
    Flag("WrapSmartCards", "0", RecordFlag<&Configuration::WrapSmartCards>,
         "1, together with `EnableSmartCards`: the filter shows the Kuv smart card provider, which also asks "
         "for the second factor. Without `EnableSmartCards`, this setting has no effect."),
    Flag("FailOpen", "1", RecordFlag<&Configuration::FailOpen>,
         "Fail mode, which the Kuv provider reads and sends to the service: 1 open, 0 closed. The filter "
         "does not use it."),
    SettingInfo{
        "UsernameFormatForService", SettingKind::Choice, 0, 2, Beyond::Default, "1", Effect::AtOnce,
        UsernameFormatInForce,
        "Format of the user name that is sent to the service: 0 name only, 1 DOMAIN\\name, 2 name@domain.",
        "A number above 2 is treated as 1. A value of another type or size is ignored."},
    Flag("AutoPush", "0", RecordFlag<&Configuration::AutoPush>,
         "For the Kuv provider. The filter does not use it."),
    Flag("local_ip_fallback", "0", RecordFlag<&Configuration::local_ip_fallback>,
         "1: for a user at the console, the IP address of the machine is sent to the service. 0: for such a "
         "user, no address is sent."),
    Text("HttpProxyHost", RecordText<&Configuration::HttpProxyHost>,
         "For the Kuv provider: host name of the proxy to the service."),
    SettingInfo{
        "HttpProxyPort", SettingKind::Number, 1, 65535, Beyond::AsStored, "0", Effect::NextProcess,
        RecordNumber<&Configuration::HttpProxyPort>,
        "For the Kuv provider: port of the proxy, or 0 for none.",
        "Any number is used as stored. A value of another type or with more than 4 bytes is ignored."},
    Flag("OfflineAvailable", "1", RecordFlag<&Configuration::OfflineAvailable>,
         "For the Kuv provider: offline use. The filter does not use it."),
    SettingInfo{
        "OfflineMaxUsers", SettingKind::Number, 0, 50, Beyond::Most, "5", Effect::NextProcess,
        RecordNumber<&Configuration::OfflineMaxUsers>,
        "For the Kuv provider: maximum number of offline users. If the policy key exists, the local value is "
        "ignored, even if the policy key does not contain this setting.",
        "A number above 50 is treated as 50. A value of another type or with more than 4 bytes is ignored."},
    Flag("ElevationOfflineEnable", "1", RecordFlag<&Configuration::ElevationOfflineEnable>,
         "For the Kuv provider: offline use at elevation. The filter does not use it."),
    Flag("ElevationOfflineEnrollment", "0", RecordFlag<&Configuration::ElevationOfflineEnrollment>,
         "For the Kuv provider: offline enrollment at elevation. The filter does not use it."),
    SettingInfo{
        "InactivityTimeoutSeconds", SettingKind::Number, 0, kAny, Beyond::AsStored, "0", Effect::NextProcess,
        RecordNumber<&Configuration::InactivityTimeoutSeconds>,
        "For the Kuv provider: inactivity timeout in seconds. The filter does not use it.",
        "Any number is used as stored. A value of another type or with more than 4 bytes is ignored."},
    SettingInfo{
        "Debug", SettingKind::Choice, 1, 2, Beyond::Most, "0", Effect::NextClassObject, LogDetail,
        "Log level: 1 adds each step of a decision, 2 also adds calls and objects.",
        "0 is ignored, so a 0 in policy does not override a local value. A number above 2 is treated as 2. A "
        "value of another type or size is ignored."},
    SettingInfo{
        "LogFileMaxSizeMB", SettingKind::Number, 0, kMostLogMegabytes, Beyond::Most, "0",
        Effect::NextLogStart, LogMegabytes,
        "Size, in megabytes, at which the log file is rotated the next time the log is opened. Requires "
        "`LogFileMaxCount`. 0: never.",
        "A number above 4,096 is treated as 4,096. A value of another type or size is ignored."},
    SettingInfo{
        "LogFileMaxCount", SettingKind::Number, 0, kMostLogFiles, Beyond::Most, "0", Effect::NextLogStart,
        LogFiles,
        "Number of rotated log files to keep. Requires `LogFileMaxSizeMB`. 0: the log is not rotated.",
        "A number above 100 is treated as 100. A value of another type or size is ignored."},
};

char Lowered(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

}  // namespace

std::span<const SettingInfo> AllSettings() noexcept {
  return kSettings;
}

const SettingInfo* FindSetting(std::string_view name) noexcept {
  const auto sameName = [&](const SettingInfo& setting) {
    return std::equal(name.begin(), name.end(), setting.name.begin(), setting.name.end(),
                      [](char a, char b) { return Lowered(a) == Lowered(b); });
  };
  const auto found = std::find_if(kSettings.begin(), kSettings.end(), sameName);
  return found == kSettings.end() ? nullptr : &*found;
}

bool IsNumeric(const SettingInfo& setting) noexcept {
  return setting.kind != SettingKind::Text && setting.kind != SettingKind::Providers;
}

bool IsRequired(const SettingInfo& setting) noexcept {
  return setting.name == "Host" || setting.name == "IKey" || setting.name == "SKey";
}

}  // namespace FilterCheck
