#include "FilterCheck/Judgment/Access.h"

#include <aclapi.h>
#include <sddl.h>

#include <algorithm>
#include <iterator>

#include "Common/HostError.h"
#include "Common/PlainText.h"
#include "FilterHost/LogTail.h"
#include "KuvAuth/Support/SettingsKeys.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace FilterCheck {

namespace {

struct Group {
  std::wstring_view sid;
  std::string_view name;
};

// Groups that ordinary users belong to.
constexpr Group kOrdinary[] = {
    {L"S-1-1-0", "Everyone"},
    {L"S-1-2-0", "Local"},
    {L"S-1-2-1", "Console logon"},
    {L"S-1-5-2", "Network"},
    {L"S-1-5-4", "Interactive"},
    {L"S-1-5-7", "Anonymous"},
    {L"S-1-5-11", "Authenticated Users"},
    {L"S-1-5-13", "Terminal server users"},
    {L"S-1-5-14", "Remote interactive logon"},
    {L"S-1-5-32-545", "Users"},
    {L"S-1-5-32-546", "Guests"},
    {L"S-1-5-32-547", "Power Users"},
    {L"S-1-5-32-555", "Remote Desktop Users"},
    {L"S-1-15-2-1", "All application packages"},
    {L"S-1-15-2-2", "All restricted application packages"},
};

// Who may own a key or folder: SYSTEM, Administrators, TrustedInstaller.
constexpr std::wstring_view kOwners[] = {L"S-1-5-18", L"S-1-5-32-544",
                                         L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464"};

// What reading and writing is, of a kind of object.
struct Masks {
  DWORD read;
  DWORD write;
  GENERIC_MAPPING generic;
};

constexpr DWORD kTakeOver = DELETE | WRITE_DAC | WRITE_OWNER;
constexpr Masks kKeyMasks{
    KEY_QUERY_VALUE, KEY_SET_VALUE | kTakeOver, {KEY_READ, KEY_WRITE, KEY_EXECUTE, KEY_ALL_ACCESS}};
constexpr Masks kFolderMasks{FILE_LIST_DIRECTORY,
                             FILE_ADD_FILE | FILE_ADD_SUBDIRECTORY | FILE_DELETE_CHILD | kTakeOver,
                             {FILE_GENERIC_READ, FILE_GENERIC_WRITE, FILE_GENERIC_EXECUTE, FILE_ALL_ACCESS}};

// Empty for anybody else.
std::string_view OrdinaryName(PSID sid) {
  Kuv::UniqueLocalMemory<wchar_t> text;
  if (::ConvertSidToStringSidW(sid, text.Put()) == FALSE) return {};
  const std::wstring_view account{text.Get()};
  const auto found = std::find_if(std::begin(kOrdinary), std::end(kOrdinary),
                                  [&](const Group& group) { return group.sid == account; });
  if (found != std::end(kOrdinary)) return found->name;
  if (!account.starts_with(L"S-1-5-21-")) return {};
  return account.ends_with(L"-513") ? "Domain Users" : account.ends_with(L"-514") ? "Domain Guests" : "";
}

void Grant(OrdinaryAccess& access, DWORD mask, const Masks& masks, std::string_view name) {
  const bool read = (mask & masks.read) != 0;
  const bool write = (mask & masks.write) != 0;
  if (!read && !write) return;
  access.mayRead = access.mayRead || read;
  access.mayWrite = access.mayWrite || write;
  if (access.who.find(name) == std::string::npos)
    access.who += (access.who.empty() ? "" : ", ") + std::string{name};
}

// An entry that denies takes away from those behind it, for the same group.
DWORD DeniedBefore(ACL* acl, DWORD index, PSID sid, GENERIC_MAPPING generic) {
  DWORD denied = 0;
  for (DWORD i = 0; i < index; ++i) {
    void* pointer = nullptr;
    if (::GetAce(acl, i, &pointer) == FALSE) continue;
    auto* const entry = static_cast<ACCESS_DENIED_ACE*>(pointer);
    const bool counts =
        entry->Header.AceType == ACCESS_DENIED_ACE_TYPE && (entry->Header.AceFlags & INHERIT_ONLY_ACE) == 0;
    if (!counts || ::EqualSid(&entry->SidStart, sid) == FALSE) continue;
    DWORD mask = entry->Mask;
    ::MapGenericMask(&mask, &generic);
    denied |= mask;
  }
  return denied;
}

OrdinaryAccess ReadAcl(ACL* acl, const Masks& masks) {
  OrdinaryAccess access;
  if (acl == nullptr) {
    // No list at all keeps nobody out.
    Grant(access, masks.read | masks.write, masks, "Everyone");
    return access;
  }
  GENERIC_MAPPING generic = masks.generic;
  for (DWORD index = 0; index < acl->AceCount; ++index) {
    void* pointer = nullptr;
    if (::GetAce(acl, index, &pointer) == FALSE) continue;
    auto* const entry = static_cast<ACCESS_ALLOWED_ACE*>(pointer);
    if (entry->Header.AceType != ACCESS_ALLOWED_ACE_TYPE || (entry->Header.AceFlags & INHERIT_ONLY_ACE) != 0)
      continue;
    const std::string_view name = OrdinaryName(&entry->SidStart);
    if (name.empty()) continue;
    DWORD mask = entry->Mask;
    ::MapGenericMask(&mask, &generic);
    Grant(access, mask & ~DeniedBefore(acl, index, &entry->SidStart, generic), masks, name);
  }
  return access;
}

// Empty for one that may be.
std::string StrangeOwner(PSID owner) {
  Kuv::UniqueLocalMemory<wchar_t> text;
  if (owner == nullptr || ::ConvertSidToStringSidW(owner, text.Put()) == FALSE) return {};
  const std::wstring_view account{text.Get()};
  const bool expected = std::find(std::begin(kOwners), std::end(kOwners), account) != std::end(kOwners);
  return expected ? std::string{} : PlainText(std::wstring{account});
}

OrdinaryAccess ReadDescriptor(PSID owner, ACL* acl, const Masks& masks) {
  OrdinaryAccess access = ReadAcl(acl, masks);
  access.owner = StrangeOwner(owner);
  return access;
}

OrdinaryAccess Unreadable(DWORD status) {
  OrdinaryAccess access;
  access.unreadable = FilterHost::DescribeError(status);
  return access;
}

constexpr SECURITY_INFORMATION kAsked = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;

OrdinaryAccess ReadKeyAccess(const char* path) {
  Kuv::UniqueRegistryKey key;
  LSTATUS status = ::RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, /*ulOptions=*/0, READ_CONTROL, key.Put());
  if (status == ERROR_FILE_NOT_FOUND) return {};
  PSID owner = nullptr;
  ACL* acl = nullptr;
  Kuv::UniqueLocalMemory<void> descriptor;
  if (status == ERROR_SUCCESS) {
    status = static_cast<LSTATUS>(::GetSecurityInfo(key.Get(), SE_REGISTRY_KEY, kAsked, &owner, nullptr, &acl,
                                                    nullptr, descriptor.Put()));
  }
  return status == ERROR_SUCCESS ? ReadDescriptor(owner, acl, kKeyMasks)
                                 : Unreadable(static_cast<DWORD>(status));
}

std::wstring LogFolder() {
  const std::wstring file = FilterHost::FilterLogPath();
  return file.substr(0, file.find_last_of(L'\\'));
}

OrdinaryAccess ReadFolderAccess(std::wstring folder) {
  PSID owner = nullptr;
  ACL* acl = nullptr;
  Kuv::UniqueLocalMemory<void> descriptor;
  const DWORD status = ::GetNamedSecurityInfoW(folder.data(), SE_FILE_OBJECT, kAsked, &owner, nullptr, &acl,
                                               nullptr, descriptor.Put());
  if (status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND) return {};
  return status == ERROR_SUCCESS ? ReadDescriptor(owner, acl, kFolderMasks) : Unreadable(status);
}

std::string Allowed(const OrdinaryAccess& access) {
  return access.mayWrite ? (access.mayRead ? "read and modify" : "modify") : "read";
}

void JudgeUnreadable(const OrdinaryAccess& access, const std::string& what, Findings& findings) {
  if (access.unreadable.empty()) return;
  findings.push_back({"access.unknown", Severity::Note, what,
                      "The permissions of " + what + " cannot be read: " + access.unreadable,
                      "Run KuvFilterCheck as an administrator."});
}

void JudgeOwner(const OrdinaryAccess& access, const std::string& what, Findings& findings) {
  if (access.owner.empty()) return;
  findings.push_back({"access.owner", Severity::Warning, what,
                      what + " is owned by " + access.owner + ", who can change its permissions at any time.",
                      "Make Administrators the owner."});
}

void JudgeKey(const OrdinaryAccess& access, const StoredKey& stored, const char* path, Findings& findings) {
  const std::string key = "HKLM\\" + std::string{path};
  JudgeUnreadable(access, key, findings);
  JudgeOwner(access, key, findings);
  if (!access.mayRead && !access.mayWrite) return;
  const bool secret = stored.Find("SKey") != nullptr;
  std::string text =
      "Users without administrative rights (" + access.who + ") can " + Allowed(access) + " " + key + ".";
  if (access.mayWrite) text += " Anyone who can modify it can turn off the second factor.";
  if (access.mayRead && secret) text += " Anyone who can read it has the client key.";
  const bool matters = access.mayWrite || secret;
  findings.push_back({"access.key", matters ? Severity::Warning : Severity::Note, key, text,
                      "Grant access to SYSTEM and Administrators only, and remove inherited permissions."});
}

}  // namespace

Access ReadAccess() {
  const std::wstring folder = LogFolder();
  return {ReadKeyAccess(PolicyKeyPath), ReadKeyAccess(LocalKeyPath), ReadFolderAccess(folder),
          PlainText(folder)};
}

Findings JudgeAccess(const Access& access, const StoredKeys& keys) {
  Findings findings;
  JudgeKey(access.policyKey, keys.policy, PolicyKeyPath, findings);
  JudgeKey(access.localKey, keys.local, LocalKeyPath, findings);
  JudgeUnreadable(access.logFolder, access.logFolderPath, findings);
  JudgeOwner(access.logFolder, access.logFolderPath, findings);
  if (access.logFolder.mayRead || access.logFolder.mayWrite) {
    findings.push_back(
        {"access.log-folder", Severity::Warning, access.logFolderPath,
         "Users without administrative rights (" + access.logFolder.who + ") can " +
             Allowed(access.logFolder) + " the log folder " + access.logFolderPath + ".",
         "The filter restricts the folder the next time it opens the log. If this finding stays, check what "
         "changes the permissions and who owns the folder."});
  }
  return findings;
}

}  // namespace FilterCheck
