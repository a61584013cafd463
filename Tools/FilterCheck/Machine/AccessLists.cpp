#include "FilterCheck/Machine/AccessLists.h"

#include <aclapi.h>
#include <sddl.h>

#include <algorithm>
#include <utility>

#include "Common/ErrorText.h"
#include "Common/LogPath.h"
#include "Common/PlainText.h"
#include "FilterCheck/Machine/HostReader.h"
#include "FilterCheck/Machine/RegistrationReader.h"
#include "KuvAuth/Support/SettingsKeys.h"
#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace FilterCheck {

namespace {

constexpr SECURITY_INFORMATION kAsked = OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
constexpr GENERIC_MAPPING kKeyMapping{KEY_READ, KEY_WRITE, KEY_EXECUTE, KEY_ALL_ACCESS};
constexpr GENERIC_MAPPING kFolderMapping{FILE_GENERIC_READ, FILE_GENERIC_WRITE, FILE_GENERIC_EXECUTE,
                                         FILE_ALL_ACCESS};

// Owner and list point into the descriptor.
struct Security {
  Kuv::UniqueLocalMemory<void> descriptor;
  PSID owner = nullptr;
  ACL* acl = nullptr;
};

std::wstring AccountText(PSID sid) {
  Kuv::UniqueLocalMemory<wchar_t> text;
  if (sid == nullptr || ::ConvertSidToStringSidW(sid, text.Put()) == FALSE) return {};
  return text.Get();
}

std::vector<AccessEntry> EntriesOf(ACL* acl, GENERIC_MAPPING mapping) {
  std::vector<AccessEntry> entries;
  for (DWORD index = 0; index < acl->AceCount; ++index) {
    void* pointer = nullptr;
    if (::GetAce(acl, index, &pointer) == FALSE) continue;
    // A deny entry has the same layout.
    auto* const entry = static_cast<ACCESS_ALLOWED_ACE*>(pointer);
    const bool denies = entry->Header.AceType == ACCESS_DENIED_ACE_TYPE;
    if (!denies && entry->Header.AceType != ACCESS_ALLOWED_ACE_TYPE) continue;
    if ((entry->Header.AceFlags & INHERIT_ONLY_ACE) != 0) continue;
    DWORD mask = entry->Mask;
    ::MapGenericMask(&mask, &mapping);
    entries.push_back({denies, AccountText(&entry->SidStart), mask});
  }
  return entries;
}

AccessList ListOf(const Security& security, DWORD status, const GENERIC_MAPPING& mapping) {
  AccessList list;
  if (status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND) return list;
  if (status != ERROR_SUCCESS) {
    list.unreadable = Tools::DescribeError(status);
    return list;
  }
  list.owner = AccountText(security.owner);
  list.isMissing = security.acl == nullptr;
  if (!list.isMissing) list.entries = EntriesOf(security.acl, mapping);
  return list;
}

AccessList ReadKeyAccess(const char* path) {
  Kuv::UniqueRegistryKey key;
  Security security;
  auto status =
      static_cast<DWORD>(::RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, /*ulOptions=*/0, READ_CONTROL, key.Put()));
  if (status == ERROR_SUCCESS) {
    status = ::GetSecurityInfo(key.Get(), SE_REGISTRY_KEY, kAsked, &security.owner, /*ppsidGroup=*/nullptr,
                               &security.acl, /*ppSacl=*/nullptr, security.descriptor.Put());
  }
  return ListOf(security, status, kKeyMapping);
}

FolderAccess ReadFolderAccess(std::wstring folder) {
  const DWORD attributes = ::GetFileAttributesW(folder.c_str());
  const bool isReparsePoint =
      attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
  Security security;
  const DWORD status =
      ::GetNamedSecurityInfoW(folder.data(), SE_FILE_OBJECT, kAsked, &security.owner, /*ppsidGroup=*/nullptr,
                              &security.acl, /*ppSacl=*/nullptr, security.descriptor.Put());
  return {Tools::PlainText(folder), isReparsePoint, ListOf(security, status, kFolderMapping)};
}

// Keeps the backslash of a root folder.
std::wstring FolderOf(const std::wstring& file) {
  const std::size_t end = file.find_last_of(L"\\/");
  if (end == std::wstring::npos) return {};
  return file.substr(0, end == 2 && file[1] == L':' ? 3 : end);
}

std::vector<FolderAccess> ReadModuleFolders() {
  std::vector<FolderAccess> folders;
  for (const std::wstring& module : RegisteredModules()) {
    FolderAccess folder = ReadFolderAccess(FolderOf(module));
    const bool again = std::any_of(folders.begin(), folders.end(), [&](const FolderAccess& other) {
      return ToLowerAscii(other.path) == ToLowerAscii(folder.path);
    });
    if (!again) folders.push_back(std::move(folder));
  }
  return folders;
}

}  // namespace

AccessLists ReadAccessLists() {
  return {ReadKeyAccess(PolicyKeyPath), ReadKeyAccess(LocalKeyPath),
          ReadFolderAccess(FolderOf(Tools::FilterLogPath())), ElevatedUser(), ReadModuleFolders()};
}

}  // namespace FilterCheck
