#include "FilterCheck/Judgment/JudgedSettings.h"

#include <windows.h>

#include <algorithm>

#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/Configuration/SettingReader.h"
#include "KuvAuth/Registry/OpenedKey.h"
#include "KuvAuth/Support/SettingsKeys.h"

namespace FilterCheck {

namespace {

bool ReaderTakes(const Kuv::SettingReader& reader, const SettingInfo& setting) {
  const std::string name{setting.name};
  std::string text;
  std::uint32_t number = 0;
  std::vector<GUID> providers;
  switch (setting.kind) {
    case SettingKind::Text:
      return reader.ReadText(name.c_str(), text);
    case SettingKind::Providers:
      return reader.ReadWhitelist(providers);
    default:
      return reader.ReadNumber(name.c_str(), number);
  }
}

bool IsTaken(const RawValue& value, const SettingInfo& setting, const char* path) {
  Registry registry;
  HKEY opened = nullptr;
  if (registry.OpenKeyA(HKEY_LOCAL_MACHINE, path, /*options=*/0, KEY_QUERY_VALUE, &opened) != ERROR_SUCCESS)
    return false;
  const Kuv::OpenedKey key{registry, opened};
  if (!ReaderTakes(Kuv::SettingReader{registry, key.Get()}, setting)) return false;
  // A number that is not in the record must have its full size, and a log level of 0 is ignored.
  if (setting.effect == Effect::NextProcess) return true;
  return value.data.size() == sizeof(std::uint32_t) &&
         (setting.effect != Effect::NextClassObject || NumberOf(value) != 0);
}

StoredSetting FindStored(const StoredKey& key, const SettingInfo& setting, const char* path) {
  const RawValue* const value = key.Find(setting.name);
  return {value, value != nullptr && IsTaken(*value, setting, path)};
}

Source SourceOf(const JudgedSetting& setting, const StoredKeys& keys) {
  if (setting.policy.taken) return Source::Policy;
  // A policy key resets this one setting, whether or not it contains it.
  if (setting.state.setting->name == "OfflineMaxUsers" && keys.policy.exists) return Source::Default;
  return setting.local.taken ? Source::Local : Source::Default;
}

std::optional<StoredValue> ShownOf(const StoredSetting& stored, const SettingInfo& setting) {
  return stored.value == nullptr ? std::nullopt : std::optional{Shown(*stored.value, setting)};
}

}  // namespace

void ForgetRecord() noexcept {
  Configuration& record = *GetConfiguration();
  ::SecureZeroMemory(record.SKey.data(), record.SKey.size());
  record = Configuration{};
}

JudgedSettings JudgeSettings(const StoredKeys& keys) {
  ForgetRecord();
  EnsureConfigurationLoaded();
  JudgedSettings settings;
  for (const SettingInfo& setting : AllSettings()) {
    JudgedSetting judged{{&setting, {}, {}, setting.effective(), Source::Default},
                         FindStored(keys.policy, setting, PolicyKeyPath),
                         FindStored(keys.local, setting, LocalKeyPath)};
    judged.state.policy = ShownOf(judged.policy, setting);
    judged.state.local = ShownOf(judged.local, setting);
    judged.state.source = SourceOf(judged, keys);
    settings.push_back(std::move(judged));
  }
  return settings;
}

const JudgedSetting& Judged(const JudgedSettings& settings, std::string_view name) {
  return *std::find_if(settings.begin(), settings.end(),
                       [&](const JudgedSetting& setting) { return setting.state.setting->name == name; });
}

const RawValue* InForce(const JudgedSetting& setting) {
  switch (setting.state.source) {
    case Source::Policy:
      return setting.policy.value;
    case Source::Local:
      return setting.local.value;
    default:
      return nullptr;
  }
}

std::uint32_t NumberOf(const RawValue& value) {
  std::uint32_t number = 0;
  std::copy_n(value.data.data(), std::min(value.data.size(), sizeof(number)),
              reinterpret_cast<std::uint8_t*>(&number));
  return number;
}

}  // namespace FilterCheck
