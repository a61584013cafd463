#include <windows.h>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/ProtectedStorage/ProtectedStorage.h"
#include "KuvAuth/ProtectedStorage/SecurityDescriptor.h"
#include "KuvAuth/Support/KuvException.h"
#include "KuvAuth/Support/SettingsKeys.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace {

enum class OpenFailure : bool { Silent, Logged };

bool ProtectKey(const char* path, SECURITY_DESCRIPTOR* descriptor, OpenFailure openFailure) {
  Kuv::UniqueRegistryKey key;
  LSTATUS status = ::RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, /*ulOptions=*/0, KEY_ALL_ACCESS, key.Put());
  if (status != ERROR_SUCCESS) {
    if (openFailure == OpenFailure::Logged) {
      KUV_LOG(LogLevel::Info, "RegOpenKeyEx Error %d for key %s", static_cast<int>(status), path);
    }
    return false;
  }
  // The control bit of the descriptor protects the list from inheritance.
  status = ::RegSetKeySecurity(key.Get(), DACL_SECURITY_INFORMATION, descriptor);
  if (status == ERROR_SUCCESS) return true;
  KUV_LOG(LogLevel::Info, "RegSetKeySecurity Error %d for key %s", static_cast<int>(status), path);
  return false;
}

SECURITY_DESCRIPTOR* BuildKeyDescriptor(CSecurityDescriptor& descriptor) {
  try {
    return descriptor.GetAdminOnlyDescriptor();
  } catch (const CKuvException& exception) {
    KUV_LOG(LogLevel::Warning, L"Unable to create security descriptor: %s",
            exception.GetErrorMessage().c_str());
    return nullptr;
  }
}

}  // namespace

bool ProtectSettingsKeys() {
  CSecurityDescriptor object;
  SECURITY_DESCRIPTOR* const descriptor = BuildKeyDescriptor(object);
  if (descriptor == nullptr) return false;
  const bool localProtected = ProtectKey(LocalKeyPath, descriptor, OpenFailure::Logged);
  // Not logged, because a machine without policy settings has no policy key.
  const bool policyProtected = ProtectKey(PolicyKeyPath, descriptor, OpenFailure::Silent);
  return localProtected && policyProtected;
}
