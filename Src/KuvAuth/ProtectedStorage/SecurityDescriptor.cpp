#include "KuvAuth/ProtectedStorage/SecurityDescriptor.h"

#include <aclapi.h>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Support/KuvException.h"

namespace {

// The value of KEY_ALL_ACCESS, which is required for the folder as well. The creator gets no GENERIC_ALL.
constexpr DWORD kCreatorAccess = 0x000F003F;
constexpr DWORD kFullAccess = kCreatorAccess | GENERIC_ALL;

EXPLICIT_ACCESS_W Entry(DWORD access, DWORD inheritance, TRUSTEE_TYPE type, PSID sid) {
  EXPLICIT_ACCESS_W entry{};
  entry.grfAccessPermissions = access;
  entry.grfAccessMode = SET_ACCESS;
  entry.grfInheritance = inheritance;
  entry.Trustee.MultipleTrusteeOperation = NO_MULTIPLE_TRUSTEE;
  entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
  entry.Trustee.TrusteeType = type;
  entry.Trustee.ptstrName = static_cast<wchar_t*>(sid);
  return entry;
}

bool LogStep(BOOL succeeded, const char* step) {
  if (succeeded != FALSE) return true;
  const DWORD code = ::GetLastError();
  KUV_LOG(LogLevel::Warning, "CSecurityDescriptor::GetAdminOnlyDescriptor %s %d", step,
          static_cast<int>(code));
  return false;
}

bool MakeCreatorOwnerSid(PSID* sid) {
  SID_IDENTIFIER_AUTHORITY authority = SECURITY_CREATOR_SID_AUTHORITY;
  return LogStep(
      ::AllocateAndInitializeSid(&authority, 1, SECURITY_CREATOR_OWNER_RID, 0, 0, 0, 0, 0, 0, 0, sid),
      "AllocateAndInitializeSid Error");
}

bool MakeLocalSystemSid(PSID* sid) {
  DWORD size = SECURITY_MAX_SID_SIZE;
  *sid = ::LocalAlloc(LMEM_FIXED, size);
  if (*sid == nullptr) {
    KUV_LOG(LogLevel::Error,
            "CSecurityDescriptor::GetAdminOnlyDescriptor Could not allocate memory for security SID");
    return false;
  }
  return LogStep(::CreateWellKnownSid(WinLocalSystemSid, /*DomainSid=*/nullptr, *sid, &size),
                 "CreateWellKnownSid Error");
}

bool MakeAdministratorsSid(PSID* sid) {
  SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
  return LogStep(::AllocateAndInitializeSid(&authority, 2, SECURITY_BUILTIN_DOMAIN_RID,
                                            DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0, sid),
                 "AllocateAndInitializeSid Error");
}

bool MakeSids(CSecurityDescriptor& object, EXPLICIT_ACCESS_W (&entries)[3]) {
  if (!MakeCreatorOwnerSid(&object.creatorOwnerSid) || !MakeLocalSystemSid(&object.localSystemSid) ||
      !MakeAdministratorsSid(&object.administratorsSid)) {
    return false;
  }
  constexpr DWORD kInheritOnly = SUB_CONTAINERS_ONLY_INHERIT | INHERIT_ONLY;
  entries[0] = Entry(kCreatorAccess, kInheritOnly, TRUSTEE_IS_WELL_KNOWN_GROUP, object.creatorOwnerSid);
  entries[1] =
      Entry(kFullAccess, SUB_CONTAINERS_AND_OBJECTS_INHERIT, TRUSTEE_IS_GROUP, object.localSystemSid);
  entries[2] =
      Entry(kFullAccess, SUB_CONTAINERS_AND_OBJECTS_INHERIT, TRUSTEE_IS_GROUP, object.administratorsSid);
  return true;
}

bool MakeDescriptor(CSecurityDescriptor& object, EXPLICIT_ACCESS_W (&entries)[3]) {
  const DWORD status = ::SetEntriesInAclW(3, entries, /*OldAcl=*/nullptr, &object.acl);
  if (status != ERROR_SUCCESS) {
    KUV_LOG(LogLevel::Warning, "CSecurityDescriptor::GetAdminOnlyDescriptor SetEntriesInAcl Error %d",
            static_cast<int>(status));
    return false;
  }
  return LogStep(::InitializeSecurityDescriptor(&object.descriptor, SECURITY_DESCRIPTOR_REVISION),
                 "InitializeSecurityDescriptor Error") &&
         // The trailing space is part of the required text.
         LogStep(::SetSecurityDescriptorDacl(&object.descriptor, /*bDaclPresent=*/TRUE, object.acl,
                                             /*bDaclDefaulted=*/FALSE),
                 "SetSecurityDescriptorDacl Error ") &&
         LogStep(::SetSecurityDescriptorControl(&object.descriptor, SE_DACL_PROTECTED, SE_DACL_PROTECTED),
                 "SetSecurityDescriptorControl Error") &&
         ::IsValidSecurityDescriptor(&object.descriptor) != FALSE;
}

bool Build(CSecurityDescriptor& object) {
  EXPLICIT_ACCESS_W entries[3];
  return MakeSids(object, entries) && MakeDescriptor(object, entries);
}

}  // namespace

SECURITY_DESCRIPTOR* CSecurityDescriptor::GetAdminOnlyDescriptor() {
  if (!initialised) initialised = Build(*this);
  if (!initialised)
    throw CKuvException{CKuvException::ErrorUnexpected, "Failed to create security descriptor"};
  return &descriptor;
}

CSecurityDescriptor::~CSecurityDescriptor() {
  if (creatorOwnerSid != nullptr) ::FreeSid(creatorOwnerSid);
  if (localSystemSid != nullptr) ::LocalFree(localSystemSid);
  if (administratorsSid != nullptr) ::FreeSid(administratorsSid);
  if (acl != nullptr) ::LocalFree(acl);
}
