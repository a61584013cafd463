#include <windows.h>

#include <algorithm>

#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/Configuration/SettingReader.h"
#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Registry/OpenedKey.h"
#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/WipeText.h"

namespace {

// Reads one setting into the record.
using ReadSetting = void (*)(const Kuv::SettingReader& reader, const char* name, Configuration& record);

void ReadHost(const Kuv::SettingReader& reader, const char* name, Configuration& record) {
  std::string text;
  if (!reader.ReadText(name, text)) return;
  ToLowerInPlace(text);
  RemoveWhitespace(text);
  KUV_LOG(LogLevel::Info, "Host: %s", text.c_str());
  record.Port = static_cast<std::uint16_t>(SplitHostAndPort(text));
  record.Host = text;
}

// Wipes every copy of the key except that of the record.
void ReadSecretKey(const Kuv::SettingReader& reader, const char* name, Configuration& record) {
  Kuv::WipedText read;
  if (!reader.ReadText(name, read.text)) return;
  RemoveWhitespace(read.text);
  Kuv::WipeText(record.SKey);
  record.SKey = read.text;
}

template <std::string Configuration::*Field>
void ReadLoggedText(const Kuv::SettingReader& reader, const char* name, Configuration& record) {
  std::string text;
  if (!reader.ReadText(name, text)) return;
  RemoveWhitespace(text);
  KUV_LOG(LogLevel::Info, "%s: %s", name, text.c_str());
  record.*Field = text;
}

template <bool Configuration::*Field>
void ReadFlag(const Kuv::SettingReader& reader, const char* name, Configuration& record) {
  std::uint32_t number = 0;
  if (reader.ReadNumber(name, number)) record.*Field = number != 0;
}

void ReadUsernameFormat(const Kuv::SettingReader& reader, const char* name, Configuration& record) {
  std::uint32_t number = 1;
  if (reader.ReadNumber(name, number)) record.UsernameFormat = UsernameFormatFromValue(number);
}

void ReadProxyPort(const Kuv::SettingReader& reader, const char* name, Configuration& record) {
  std::uint32_t number = 0;
  if (!reader.ReadNumber(name, number)) return;
  record.HttpProxyPort = number;
  KUV_LOG(LogLevel::Info, "HttpProxyPort: %d", static_cast<int>(number));
}

// Resets the field before the query, as required: a policy key without the value discards a local value.
void ReadOfflineMaxUsers(const Kuv::SettingReader& reader, const char* name, Configuration& record) {
  constexpr std::uint32_t kDefault = 5;
  constexpr std::uint32_t kMost = 50;
  record.OfflineMaxUsers = kDefault;
  std::uint32_t number = 0;
  if (reader.ReadNumber(name, number)) record.OfflineMaxUsers = std::min(number, kMost);
}

void ReadElevationProtectionMode(const Kuv::SettingReader& reader, const char* name, Configuration& record) {
  std::uint32_t number = 0;
  if (reader.ReadNumber(name, number))
    record.ElevationProtectionMode = ElevationProtectionModeFromValue(number);
}

void ReadInactivityTimeout(const Kuv::SettingReader& reader, const char* name, Configuration& record) {
  std::uint32_t number = 0;
  if (!reader.ReadNumber(name, number)) return;
  record.InactivityTimeoutSeconds = number;
  KUV_LOG(LogLevel::Info, "Inactivity Timeout in seconds: %d", static_cast<int>(number));
}

void ReadWhitelist(const Kuv::SettingReader& reader, const char*, Configuration& record) {
  reader.ReadWhitelist(record.ProvidersWhitelist);
}

struct Setting {
  const char* name;
  ReadSetting read;
};

// In the order in which they are read, which the log shows.
constexpr Setting kSettings[] = {
    {"Host", ReadHost},
    {"IKey", ReadLoggedText<&Configuration::IKey>},
    {"SKey", ReadSecretKey},
    {"FailOpen", ReadFlag<&Configuration::FailOpen>},
    {"EnableSmartCards", ReadFlag<&Configuration::EnableSmartCards>},
    {"WrapSmartCards", ReadFlag<&Configuration::WrapSmartCards>},
    {"AutoPush", ReadFlag<&Configuration::AutoPush>},
    {"local_ip_fallback", ReadFlag<&Configuration::local_ip_fallback>},
    {"UsernameFormatForService", ReadUsernameFormat},
    {"HttpProxyHost", ReadLoggedText<&Configuration::HttpProxyHost>},
    {"HttpProxyPort", ReadProxyPort},
    {"OfflineAvailable", ReadFlag<&Configuration::OfflineAvailable>},
    {"OfflineMaxUsers", ReadOfflineMaxUsers},
    {"ProvidersWhitelist", ReadWhitelist},
    {"ElevationProtectionMode", ReadElevationProtectionMode},
    {"ElevationOfflineEnable", ReadFlag<&Configuration::ElevationOfflineEnable>},
    {"ElevationOfflineEnrollment", ReadFlag<&Configuration::ElevationOfflineEnrollment>},
    {"InactivityTimeoutSeconds", ReadInactivityTimeout},
};

}  // namespace

bool Configuration::Load(IRegistry& registry) {
  ProvidersWhitelist.clear();
  try {
    ReadKey(registry, LocalKeyPath);
    ReadKey(registry, PolicyKeyPath);
  } catch (...) {
    // A partly filled record must not be treated as complete. The next call loads it again.
    Kuv::WipeText(SKey);
    throw;
  }
  if (IsConfigured()) return true;
  KUV_LOG(LogLevel::Error,
          "Kuv WinLogon MFA not configured properly. Please check 'Host', 'IKey' and 'SKey' settings.");
  return false;
}

void Configuration::ReadKey(IRegistry& registry, const char* subKey) {
  HKEY opened = nullptr;
  if (registry.OpenKeyA(HKEY_LOCAL_MACHINE, subKey, /*options=*/0, KEY_QUERY_VALUE, &opened) !=
      ERROR_SUCCESS) {
    return;
  }
  const Kuv::OpenedKey key{registry, opened};
  ApplyLogLevelFromKey(registry, subKey);
  const Kuv::SettingReader reader{registry, key.Get()};
  for (const Setting& setting : kSettings) setting.read(reader, setting.name, *this);
}
