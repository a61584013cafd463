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

// The key itself is shown nowhere.
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

// The library writes the level into the log of the process: here one without handlers, which nobody sees.
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
    "Blanks are removed. Another type, or more than 1,023 characters: counts as absent.";
constexpr std::string_view kFlagLimits =
    "Any number but 0 is on. Another type, or more than 4 bytes: counts as absent.";

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
         "Name of the second-factor service, with `:port` behind it if that is not 443. Without it the "
         "second factor is off.",
         "Blanks are removed. The first colon separates the port, so an IPv6 address cannot be given. A port "
         "of 0 or without digits turns the second factor off; above 65,535 only the low 16 bits count. "
         "Another type, or more than 1,023 characters: counts as absent."),
    Text("IKey", RecordText<&Configuration::IKey>,
         "Client identifier at the service. Without it the second factor is off."),
    Text("SKey", SetOrNotSet,
         "Client key that signs requests to the service: a secret. Without it the second factor is off."),
    SettingInfo{"ElevationProtectionMode", SettingKind::Choice, 0, 2, Beyond::Default, "0", Effect::AtOnce,
                ElevationInForce,
                "What the second factor protects: 0 logon, unlock and change of password; 1 the elevation "
                "prompt only; 2 both.",
                "Above 2 counts as 0. Another type, or another size than 4 bytes: counts as absent."},
    SettingInfo{"RdpOnly", SettingKind::ExactFlag, 0, 1, Beyond::Default, "0", Effect::AtOnce, RdpOnlyInForce,
                "1: only logon over remote desktop is protected, at the console users log on without the "
                "second factor. Elevation prompts are not touched by this.",
                "Any number but 1 is off. Another type, or another size than 4 bytes: counts as absent."},
    SettingInfo{"ProvidersWhitelist", SettingKind::Providers, 0, 0, Beyond::AsStored, "none",
                Effect::NextProcess, Whitelist,
                "Class identifiers, in braces, of further credential providers that stay on a protected "
                "logon screen. Each is a way to log on without the second factor.",
                "Another type, or more than 760 bytes (nine identifiers fit): the whole list counts as "
                "absent. An entry that is no class identifier is passed over."},
    Flag("EnableSmartCards", "0", RecordFlag<&Configuration::EnableSmartCards>,
         "1: one smart card provider stays on a protected logon screen, that of Windows unless "
         "`WrapSmartCards` is on."),
    Flag("WrapSmartCards", "0", RecordFlag<&Configuration::WrapSmartCards>,
         "1, together with `EnableSmartCards`: the smart card provider that stays is the Kuv one, which asks "
         "for the second factor as well. Alone it does nothing."),
    Flag("FailOpen", "1", RecordFlag<&Configuration::FailOpen>,
         "The fail mode, which the Kuv provider reads and the service is told: 1 open, 0 closed. The filter "
         "decides without it."),
    SettingInfo{"UsernameFormatForService", SettingKind::Choice, 0, 2, Beyond::Default, "1", Effect::AtOnce,
                UsernameFormatInForce,
                "How the service is told a user's name: 0 name alone, 1 DOMAIN\\name, 2 name@domain.",
                "Above 2 counts as 1. Another type, or another size than 4 bytes: counts as absent."},
    Flag("AutoPush", "0", RecordFlag<&Configuration::AutoPush>,
         "For the Kuv provider; the filter does not use it."),
    Flag(
        "local_ip_fallback", "0", RecordFlag<&Configuration::local_ip_fallback>,
        "1: for a user at the console the service is told this machine's own address; else it is told none."),
    Text("HttpProxyHost", RecordText<&Configuration::HttpProxyHost>,
         "For the Kuv provider: name of the proxy between this machine and the service."),
    SettingInfo{"HttpProxyPort", SettingKind::Number, 1, 65535, Beyond::AsStored, "0", Effect::NextProcess,
                RecordNumber<&Configuration::HttpProxyPort>,
                "For the Kuv provider: port of the proxy; 0 stands for none.",
                "Any number is taken as it stands. Another type, or more than 4 bytes: counts as absent."},
    Flag("OfflineAvailable", "1", RecordFlag<&Configuration::OfflineAvailable>,
         "For the Kuv provider: offline use. The filter does not use it."),
    SettingInfo{"OfflineMaxUsers", SettingKind::Number, 0, 50, Beyond::Most, "5", Effect::NextProcess,
                RecordNumber<&Configuration::OfflineMaxUsers>,
                "For the Kuv provider: how many users may be offline. As soon as the policy key exists, a "
                "local value does not count, even if policy does not name this setting.",
                "Above 50 counts as 50. Another type, or more than 4 bytes: counts as absent."},
    Flag("ElevationOfflineEnable", "1", RecordFlag<&Configuration::ElevationOfflineEnable>,
         "For the Kuv provider: offline use at elevation. The filter does not use it."),
    Flag("ElevationOfflineEnrollment", "0", RecordFlag<&Configuration::ElevationOfflineEnrollment>,
         "For the Kuv provider: offline enrolment at elevation. The filter does not use it."),
    SettingInfo{"InactivityTimeoutSeconds", SettingKind::Number, 0, kAny, Beyond::AsStored, "0",
                Effect::NextProcess, RecordNumber<&Configuration::InactivityTimeoutSeconds>,
                "For the Kuv provider: seconds of inactivity. The filter does not use it.",
                "Any number is taken as it stands. Another type, or more than 4 bytes: counts as absent."},
    SettingInfo{"Debug", SettingKind::Choice, 1, 2, Beyond::Most, "0", Effect::NextClassObject, LogDetail,
                "Detail of the log: 1 each step of a decision, 2 calls and objects as well.",
                "0 counts as absent, so a 0 in policy does not undo a local value. Above 2 counts as 2. "
                "Another type, or another size than 4 bytes: counts as absent."},
    SettingInfo{"LogFileMaxSizeMB", SettingKind::Number, 0, kMostLogMegabytes, Beyond::Most, "0",
                Effect::NextLogStart, LogMegabytes,
                "At this size, in megabytes, the log file is put aside at the next start of the log. Works "
                "only together with `LogFileMaxCount`. 0: never.",
                "Above 4,096 counts as 4,096. Another type, or another size than 4 bytes: counts as absent."},
    SettingInfo{"LogFileMaxCount", SettingKind::Number, 0, kMostLogFiles, Beyond::Most, "0",
                Effect::NextLogStart, LogFiles,
                "How many log files that were put aside are kept. Works only together with "
                "`LogFileMaxSizeMB`. 0: none is put aside.",
                "Above 100 counts as 100. Another type, or another size than 4 bytes: counts as absent."},
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
