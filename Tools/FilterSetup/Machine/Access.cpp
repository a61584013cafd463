#include "FilterSetup/Machine/Access.h"

#include <sddl.h>

#include <string>
#include <string_view>

#include "Common/ErrorText.h"
#include "Common/ToolError.h"
#include "KuvAuth/Support/KuvException.h"
#include "KuvAuth/Support/Text.h"

namespace FilterSetup {

namespace {

constexpr std::wstring_view kSystem = L"S-1-5-18";
constexpr std::wstring_view kAdministrators = L"S-1-5-32-544";
constexpr std::wstring_view kCreatorOwner = L"S-1-3-0";
constexpr std::wstring_view kTrustedInstaller =
    L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";

std::wstring AccountText(PSID account) {
  Kuv::UniqueLocalMemory<wchar_t> text;
  if (account == nullptr || ::ConvertSidToStringSidW(account, text.Put()) == FALSE) return {};
  return text.Get();
}

// One entry of an access control list that allows or denies rights; any other type has no account.
struct Entry {
  bool allows = false;
  bool denies = false;
  bool inheritOnly = false;
  std::wstring account;
  DWORD mask = 0;
};

Entry EntryAt(ACL* acl, DWORD index) {
  void* pointer = nullptr;
  if (::GetAce(acl, index, &pointer) == FALSE) return {};
  auto* const ace = static_cast<ACCESS_ALLOWED_ACE*>(pointer);
  Entry entry;
  entry.allows = ace->Header.AceType == ACCESS_ALLOWED_ACE_TYPE;
  // A deny entry has the same layout.
  entry.denies = ace->Header.AceType == ACCESS_DENIED_ACE_TYPE;
  if (!entry.allows && !entry.denies) return entry;
  entry.inheritOnly = (ace->Header.AceFlags & INHERIT_ONLY_ACE) != 0;
  entry.account = AccountText(&ace->SidStart);
  entry.mask = ace->Mask;
  return entry;
}

bool IsHarmless(const Entry& entry) {
  if (entry.denies || entry.account == kSystem || entry.account == kAdministrators) return true;
  return entry.inheritOnly && entry.account == kCreatorOwner;
}

bool GrantsFull(ACL* acl, std::wstring_view account, GENERIC_MAPPING mapping, DWORD full) {
  DWORD granted = 0;
  for (DWORD index = 0; index < acl->AceCount; ++index) {
    const Entry entry = EntryAt(acl, index);
    if (!entry.allows || entry.inheritOnly || entry.account != account) continue;
    DWORD mask = entry.mask;
    ::MapGenericMask(&mask, &mapping);
    granted |= mask;
  }
  return (granted & full) == full;
}

bool Denies(ACL* acl) {
  for (DWORD index = 0; index < acl->AceCount; ++index) {
    if (EntryAt(acl, index).denies) return true;
  }
  return false;
}

bool Inherits(const Security& security) {
  SECURITY_DESCRIPTOR_CONTROL control = 0;
  DWORD revision = 0;
  return ::GetSecurityDescriptorControl(security.descriptor.Get(), &control, &revision) == FALSE ||
         (control & SE_DACL_PROTECTED) == 0;
}

}  // namespace

Security ReadSecurity(HANDLE object, SE_OBJECT_TYPE type) {
  Security security;
  const DWORD status = ::GetSecurityInfo(object, type, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                                         &security.owner, /*ppsidGroup=*/nullptr, &security.acl,
                                         /*ppSacl=*/nullptr, security.descriptor.Put());
  if (status == ERROR_SUCCESS) return security;
  throw Tools::ToolError{"cannot read the access list: " + Tools::DescribeError(status)};
}

bool IsTrustedOwner(PSID account) {
  const std::wstring text = AccountText(account);
  return text == kSystem || text == kAdministrators || text == kTrustedInstaller;
}

bool GrantsOthers(const Security& security) {
  if (security.acl == nullptr) return true;
  for (DWORD index = 0; index < security.acl->AceCount; ++index) {
    if (!IsHarmless(EntryAt(security.acl, index))) return true;
  }
  return false;
}

bool IsProtected(const Security& security, const GENERIC_MAPPING& mapping, DWORD full) {
  return IsTrustedOwner(security.owner) && !GrantsOthers(security) && !Denies(security.acl) &&
         !Inherits(security) && GrantsFull(security.acl, kSystem, mapping, full) &&
         GrantsFull(security.acl, kAdministrators, mapping, full);
}

ProtectedDescriptor::ProtectedDescriptor() {
  try {
    source_.GetAdminOnlyDescriptor();
  } catch (const CKuvException& error) {
    throw Tools::ToolError{"cannot create the access list: " + WideToUtf8(error.GetErrorMessage())};
  }
  if (::SetSecurityDescriptorOwner(Get(), Owner(), /*bOwnerDefaulted=*/FALSE) != FALSE) return;
  throw Tools::ToolError{"cannot create the access list: " + Tools::DescribeError(::GetLastError())};
}

}  // namespace FilterSetup
