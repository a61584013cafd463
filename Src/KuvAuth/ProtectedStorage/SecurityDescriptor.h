#pragma once

#include <windows.h>
#include <aclapi.h>

/// Builds the security descriptor of the log folder and the settings keys: full control for the local
/// system and the administrators, for whoever creates a sub-folder or sub-key full control of it,
/// nothing for anybody else and nothing inherited from the parent. An object belongs to one thread and
/// lives on the stack of the function that needs it; the descriptor lives and dies with it.
class CSecurityDescriptor {
 public:
  CSecurityDescriptor() = default;
  CSecurityDescriptor(const CSecurityDescriptor&) = delete;
  CSecurityDescriptor& operator=(const CSecurityDescriptor&) = delete;
  ~CSecurityDescriptor();

  /// Builds the descriptor at the first call and gives it, in absolute form, owned by this object.
  /// Throws `CKuvException` with `ErrorUnexpected` if a step fails, which has been logged by then (a
  /// descriptor that the platform finds invalid excepted); the object is of no further use after that.
  SECURITY_DESCRIPTOR* GetAdminOnlyDescriptor();

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
