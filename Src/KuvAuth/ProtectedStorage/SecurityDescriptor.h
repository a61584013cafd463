#pragma once

// Without <winsock2.h>, <windows.h> includes its predecessor, and neither compiles after the other.
#include <winsock2.h>
#include <windows.h>

/// @file
/// The security descriptor of the log folder and the settings keys.

/// Builds the security descriptor of the log folder and the settings keys: full control for Local System and
/// Administrators, and for the creator of a subfolder or subkey on that object; no access for anyone else and
/// no inheritance from the parent. Not thread-safe. The descriptor is valid for the lifetime of the object.
class CSecurityDescriptor {
 public:
  /// Creates an object without a descriptor. Calls no platform function.
  CSecurityDescriptor() = default;
  CSecurityDescriptor(const CSecurityDescriptor&) = delete;
  CSecurityDescriptor& operator=(const CSecurityDescriptor&) = delete;
  /// Frees what the object owns, also after a failure.
  ~CSecurityDescriptor();

  /// Returns the descriptor in absolute form, owned by this object, and builds it at the first call. Throws
  /// `CKuvException` with `ErrorUnexpected` if a step fails; do not use the object afterwards. Logs the step,
  /// unless only the finished descriptor is invalid.
  SECURITY_DESCRIPTOR* GetAdminOnlyDescriptor();

  // The fields and their types are part of the interface, so they are not owners of resources.
  bool initialised = false;             ///< whether the descriptor is complete
  PSID creatorOwnerSid = nullptr;       ///< CREATOR OWNER (S-1-3-0), released with `FreeSid`
  PSID localSystemSid = nullptr;        ///< Local System (S-1-5-18), released with `LocalFree`
  PSID administratorsSid = nullptr;     ///< Administrators (S-1-5-32-544), released with `FreeSid`
  ACL* acl = nullptr;                   ///< the access control list, released with `LocalFree`
  SECURITY_DESCRIPTOR descriptor = {};  ///< the descriptor, which refers to `acl`
};
