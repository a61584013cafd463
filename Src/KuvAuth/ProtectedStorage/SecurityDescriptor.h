#pragma once

#include <windows.h>
#include <aclapi.h>

/// Builds the security descriptor of the log folder and the settings keys: full control for Local System and
/// Administrators, and for the creator of a subfolder or subkey on that object; no access for anyone else and
/// no inheritance from the parent. Not thread-safe. The descriptor is valid for the lifetime of the object.
class CSecurityDescriptor {
 public:
  CSecurityDescriptor() = default;
  CSecurityDescriptor(const CSecurityDescriptor&) = delete;
  CSecurityDescriptor& operator=(const CSecurityDescriptor&) = delete;
  ~CSecurityDescriptor();

  /// Returns the descriptor in absolute form, owned by this object, and builds it at the first call. Throws
  /// `CKuvException` with `ErrorUnexpected` if a step fails; do not use the object afterwards. Logs the step,
  /// unless only the finished descriptor is invalid.
  SECURITY_DESCRIPTOR* GetAdminOnlyDescriptor();

  // The fields and their types are part of the interface, so they are not owners of resources.
  bool initialised = false;
  PSID creatorOwnerSid = nullptr;
  PSID localSystemSid = nullptr;
  PSID administratorsSid = nullptr;
  ACL* acl = nullptr;
  SECURITY_DESCRIPTOR descriptor = {};

 private:
  bool Build();
  bool MakeSids(EXPLICIT_ACCESS_W (&entries)[3]);
  bool MakeDescriptor(EXPLICIT_ACCESS_W (&entries)[3]);
};
