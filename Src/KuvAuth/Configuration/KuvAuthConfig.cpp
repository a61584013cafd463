#include "KuvAuth/Configuration/KuvAuthConfig.h"

#include <windows.h>

#include <cstring>

#include "KuvAuth/Support/SettingsKeys.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace {

// Calls `read` with each settings key that can be opened, the policy key first, until it returns true.
template <typename Read>
bool FindInKeys(Read read) {
  for (const char* path : {PolicyKeyPath, LocalKeyPath}) {
    Kuv::UniqueRegistryKey key;
    if (::RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, /*ulOptions=*/0, KEY_QUERY_VALUE, key.Put()) !=
        ERROR_SUCCESS) {
      continue;
    }
    if (read(key.Get())) return true;
  }
  return false;
}

bool ReadDword(HKEY key, const char* name, std::uint32_t& number) {
  DWORD value = 0;
  DWORD type = REG_DWORD;
  DWORD size = sizeof(value);
  const LSTATUS status =
      ::RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size);
  if (status != ERROR_SUCCESS || type != REG_DWORD || size != sizeof(value)) return false;
  number = value;
  return true;
}

bool ReadText(HKEY key, const char* name, std::string& text) {
  char buffer[1024] = {};
  DWORD type = REG_SZ;
  DWORD size = sizeof(buffer);
  const LSTATUS status =
      ::RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer), &size);
  if (status != ERROR_SUCCESS || type != REG_SZ || size == 0) return false;
  text.assign(buffer, strnlen(buffer, sizeof(buffer)));
  return true;
}

}  // namespace

std::uint32_t GetDwordSetting(const char* name, std::uint32_t defaultValue) {
  std::uint32_t number = defaultValue;
  FindInKeys([&](HKEY key) { return ReadDword(key, name, number); });
  return number;
}

bool TryGetStringSetting(const char* name, std::string& text) {
  return FindInKeys([&](HKEY key) { return ReadText(key, name, text); });
}

std::string GetStringSetting(const char* name, const std::string& defaultValue) {
  std::string text;
  return TryGetStringSetting(name, text) ? text : defaultValue;
}

bool GetBoolSetting(const char* name, bool defaultValue) {
  return GetDwordSetting(name, defaultValue ? 1 : 0) == 1;
}

bool IsRdpOnly() {
  return GetDwordSetting("RdpOnly", 0) == 1;
}

ElevationProtectionMode GetElevationProtectionMode() {
  return ElevationProtectionModeFromValue(GetDwordSetting("ElevationProtectionMode", 0));
}
