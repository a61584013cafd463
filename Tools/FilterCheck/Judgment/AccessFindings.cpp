#include "FilterCheck/Judgment/AccessFindings.h"

#include <algorithm>
#include <iterator>

#include "Common/PlainText.h"
#include "KuvAuth/Support/SettingsKeys.h"

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

// The expected owners of a key or folder: SYSTEM, Administrators, TrustedInstaller.
constexpr std::wstring_view kOwners[] = {L"S-1-5-18", L"S-1-5-32-544",
                                         L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464"};

// The access of ordinary users to a key or folder.
struct OrdinaryAccess {
  bool mayRead = false;
  bool mayWrite = false;
  std::string who;         // the names of the groups
  std::string owner;       // empty if the owner is an expected one
  std::string unreadable;  // why the access is unknown; empty if it is known
};

// The rights that mean reading and writing, by kind of object.
struct Masks {
  DWORD read;
  DWORD write;
};

constexpr DWORD kTakeOver = DELETE | WRITE_DAC | WRITE_OWNER;
constexpr Masks kKeyMasks{KEY_QUERY_VALUE, KEY_SET_VALUE | kTakeOver};
constexpr Masks kFolderMasks{FILE_LIST_DIRECTORY,
                             FILE_ADD_FILE | FILE_ADD_SUBDIRECTORY | FILE_DELETE_CHILD | kTakeOver};
// Everyone may read programs. A new subfolder does not affect the files beside it.
constexpr Masks kModuleFolderMasks{0, FILE_ADD_FILE | FILE_DELETE_CHILD | kTakeOver};

// Returns the name of a group of ordinary users; empty for any other account.
std::string_view OrdinaryName(std::wstring_view account) {
  for (const Group& group : kOrdinary) {
    if (group.sid == account) return group.name;
  }
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

// A deny entry restricts the entries after it for the same account.
DWORD DeniedBefore(const std::vector<AccessEntry>& entries, std::size_t index) {
  DWORD denied = 0;
  for (std::size_t i = 0; i < index; ++i) {
    if (entries[i].denies && entries[i].account == entries[index].account) denied |= entries[i].mask;
  }
  return denied;
}

OrdinaryAccess JudgeList(const AccessList& list, const Masks& masks, const std::wstring& administrator) {
  OrdinaryAccess access;
  access.unreadable = list.unreadable;
  const bool expected = list.owner == administrator ||
                        std::find(std::begin(kOwners), std::end(kOwners), list.owner) != std::end(kOwners);
  if (!expected) access.owner = Tools::PlainText(list.owner);
  if (list.isMissing) Grant(access, masks.read | masks.write, masks, "Everyone");
  for (std::size_t i = 0; i < list.entries.size(); ++i) {
    const AccessEntry& entry = list.entries[i];
    const std::string_view name = OrdinaryName(entry.account);
    if (entry.denies || name.empty()) continue;
    Grant(access, entry.mask & ~DeniedBefore(list.entries, i), masks, name);
  }
  return access;
}

// Reports an unknown access and an unexpected owner.
void JudgeOwner(const OrdinaryAccess& access, const std::string& what, Findings& findings) {
  if (!access.unreadable.empty()) {
    findings.push_back({"access.unknown", Severity::Note, what,
                        "The permissions of " + what + " cannot be read: " + access.unreadable,
                        "Run KuvFilterCheck as an administrator."});
  }
  if (!access.owner.empty()) {
    findings.push_back(
        {"access.owner", Severity::Warning, what,
         what + " is owned by " + access.owner + ", who can change its permissions at any time.",
         "Make Administrators the owner."});
  }
}

// Returns the start of a sentence: "Users without administrative rights (Everyone) can read and modify ".
std::string WhoCan(const OrdinaryAccess& access) {
  return "Users without administrative rights (" + access.who + ") can " +
         (!access.mayWrite ? "read "
          : access.mayRead ? "read and modify "
                           : "modify ");
}

void JudgeKey(const OrdinaryAccess& access, const StoredKey& stored, const char* path, Findings& findings) {
  const std::string key = "HKLM\\" + std::string{path};
  JudgeOwner(access, key, findings);
  if (!access.mayRead && !access.mayWrite) return;
  const bool secret = stored.Find("SKey") != nullptr;
  std::string text = WhoCan(access) + key + ".";
  if (access.mayWrite) text += " Anyone who can modify it can turn off the second factor.";
  if (access.mayRead && secret) text += " Anyone who can read it has the client key.";
  const bool matters = access.mayWrite || secret;
  findings.push_back({"access.key", matters ? Severity::Warning : Severity::Note, key, text,
                      "Grant access to SYSTEM and Administrators only, and remove inherited permissions."});
}

void JudgeLogFolder(const FolderAccess& folder, const OrdinaryAccess& access, Findings& findings) {
  JudgeOwner(access, folder.path, findings);
  if (access.mayRead || access.mayWrite) {
    findings.push_back(
        {"access.log-folder", Severity::Warning, folder.path,
         WhoCan(access) + "the log folder " + folder.path + ".",
         "The filter restricts the folder the next time it opens the log. If this finding stays, check what "
         "changes the permissions and who owns the folder."});
  }
  if (folder.isReparsePoint) {
    findings.push_back({"access.log-folder-reparse-point", Severity::Warning, folder.path,
                        "The log folder " + folder.path +
                            " is a reparse point. The filter, which runs as SYSTEM, appends to, renames and "
                            "deletes files in the folder that it leads to.",
                        "Find out who created it, and delete it. The filter creates a folder the next time "
                        "it opens the log."});
  }
}

void JudgeModuleFolder(const FolderAccess& folder, const OrdinaryAccess& access, Findings& findings) {
  JudgeOwner(access, folder.path, findings);
  if (!access.mayWrite) return;
  findings.push_back({"access.module-folder", Severity::Warning, folder.path,
                      WhoCan(access) + "the folder of the registered module, " + folder.path +
                          ". They can replace the DLL that the logon process loads.",
                      "Grant write access to SYSTEM and Administrators only, or install the filter in "
                      "%ProgramFiles%."});
}

}  // namespace

Findings JudgeAccess(const AccessLists& access, const StoredKeys& keys) {
  const auto judge = [&](const AccessList& list, const Masks& masks) {
    return JudgeList(list, masks, access.administrator);
  };
  Findings findings;
  JudgeKey(judge(access.policyKey, kKeyMasks), keys.policy, PolicyKeyPath, findings);
  JudgeKey(judge(access.localKey, kKeyMasks), keys.local, LocalKeyPath, findings);
  JudgeLogFolder(access.logFolder, judge(access.logFolder.list, kFolderMasks), findings);
  for (const FolderAccess& folder : access.moduleFolders)
    JudgeModuleFolder(folder, judge(folder.list, kModuleFolderMasks), findings);
  return findings;
}

}  // namespace FilterCheck
