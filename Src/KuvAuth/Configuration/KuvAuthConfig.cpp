#include "KuvAuth/Configuration/KuvAuthConfig.h"

#include <windows.h>

#include <cstring>

#include "KuvAuth/Support/SettingsKeys.h"
#include "KuvAuth/Support/UniqueResource.h"
#include "KuvAuth/Support/WipeText.h"

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
  // A caller can ask for the key that signs requests.
  Kuv::WipedBuffer<1024> buffer;
  DWORD type = REG_SZ;
  DWORD size = sizeof(buffer.bytes);
  const LSTATUS status =
      ::RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(buffer.bytes), &size);
  if (status != ERROR_SUCCESS || type != REG_SZ || size == 0) return false;
  text.assign(buffer.bytes, strnlen(buffer.bytes, sizeof(buffer.bytes)));
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
  if (!TryGetStringSetting(name, text)) return defaultValue;
  return text;
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
