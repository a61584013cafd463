#include "KuvAuth/Support/RemoteSession.h"

#include <windows.h>

#include "KuvAuth/Support/UniqueResource.h"

namespace Kuv::Util {

bool IsRemoteSession() {
  if (::GetSystemMetrics(SM_REMOTESESSION) != 0) return true;

  UniqueRegistryKey key;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Terminal Server\\",
                      /*ulOptions=*/0, KEY_READ, key.Put()) != ERROR_SUCCESS) {
    return false;
  }
  DWORD glassSession = 0;
  DWORD size = sizeof(glassSession);
  if (::RegQueryValueExW(key.Get(), L"GlassSessionId", nullptr, nullptr,
                         reinterpret_cast<BYTE*>(&glassSession), &size) != ERROR_SUCCESS) {
    return false;
  }
  DWORD ownSession = 0;
  if (::ProcessIdToSessionId(::GetCurrentProcessId(), &ownSession) == FALSE) return false;
  return ownSession != glassSession;
}

}  // namespace Kuv::Util
