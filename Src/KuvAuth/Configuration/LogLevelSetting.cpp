#include <windows.h>

#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Registry/OpenedKey.h"

namespace {

void ApplyDebugSetting(std::uint32_t debug) {
  // 0 does not change the level, so it cannot undo the setting of the other key.
  if (g_logSystem == nullptr || debug == 0) return;
  g_logSystem->minLevel = debug == 1 ? LogLevel::Debug : LogLevel::Trace;
  KUV_LOG(LogLevel::Info, L"%s logging level enabled", LogLevelName(g_logSystem->minLevel));
}

}  // namespace

LSTATUS ApplyLogLevelFromKey(IRegistry& registry, const char* subKey) {
  HKEY opened = nullptr;
  const LSTATUS status =
      registry.OpenKeyA(HKEY_LOCAL_MACHINE, subKey, /*options=*/0, KEY_QUERY_VALUE, &opened);
  if (status != ERROR_SUCCESS) return status;
  Kuv::OpenedKey key{registry, opened};
  std::uint32_t debug = 0;
  DWORD type = REG_DWORD;
  DWORD size = sizeof(debug);
  if (registry.QueryValueW(key.Get(), L"Debug", nullptr, &type, reinterpret_cast<BYTE*>(&debug), &size) ==
          ERROR_SUCCESS &&
      type == REG_DWORD && size == sizeof(debug)) {
    ApplyDebugSetting(debug);
  }
  return key.Close();
}

void ApplyConfiguredLogLevel() {
  Registry registry;
  ApplyLogLevelFromKey(registry, LocalKeyPath);
  ApplyLogLevelFromKey(registry, PolicyKeyPath);
}
