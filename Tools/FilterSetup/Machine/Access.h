#pragma once

#include <windows.h>
#include <aclapi.h>

#include "KuvAuth/ProtectedStorage/SecurityDescriptor.h"
#include "KuvAuth/Support/UniqueResource.h"

/// @file
/// Owners and access control lists of the log folder and the settings keys.

namespace FilterSetup {

/// The owner and the access control list of an object. Both point into the descriptor.
struct Security {
  Kuv::UniqueLocalMemory<void> descriptor;
  PSID owner = nullptr;
  ACL* acl = nullptr;  ///< null: everyone has full access
};

/// Reads the owner and the access control list of an open file, folder or key. Throws `Tools::ToolError`.
Security ReadSecurity(HANDLE object, SE_OBJECT_TYPE type);

/// Returns whether the account is one that may own a protected object: SYSTEM, Administrators, or
/// TrustedInstaller.
bool IsTrustedOwner(PSID account);

/// Returns whether the access control list can grant rights to others than SYSTEM and Administrators, to the
/// object or to new objects in it. CREATOR OWNER may have rights to new objects.
bool GrantsOthers(const Security& security);

/// Returns whether the object has a trusted owner, grants full access to SYSTEM and Administrators, nothing
/// to others, denies nothing, and inherits nothing. `full` is full access in specific rights.
bool IsProtected(const Security& security, const GENERIC_MAPPING& mapping, DWORD full);

/// The descriptor of the library for administrators only, with Administrators as the owner.
class ProtectedDescriptor {
 public:
  /// Builds the descriptor. Throws `Tools::ToolError`.
  ProtectedDescriptor();

  SECURITY_DESCRIPTOR* Get() noexcept { return &source_.descriptor; }
  PSID Owner() const noexcept { return source_.administratorsSid; }
  ACL* Acl() const noexcept { return source_.acl; }

 private:
  CSecurityDescriptor source_;
};

}  // namespace FilterSetup
