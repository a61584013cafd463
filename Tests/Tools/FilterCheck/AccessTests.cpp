// Findings about the permissions of the settings keys, the log folder and the folders of the registered
// modules.
#include <windows.h>
#include <aclapi.h>
#include <sddl.h>

#include <filesystem>

#include <gmock/gmock.h>

#include "FilterCheck/Machine/HostReader.h"
#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/UniqueResource.h"
#include "Tools/FilterCheck/SettingsFixture.h"

namespace {

using namespace KuvTest;
using FilterCheck::Examine;
using FilterCheck::Finding;
using FilterCheck::Severity;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char kLocalKey[] = "HKLM\\Software\\Kuvant\\KuvCredProv";
constexpr char kPolicyKey[] = "HKLM\\Software\\Policies\\Kuvant\\KuvCredProv";
constexpr wchar_t kClasses64[] = L"SOFTWARE\\Classes\\CLSID\\";
constexpr wchar_t kClasses32[] = L"SOFTWARE\\WOW6432Node\\Classes\\CLSID\\";
constexpr wchar_t kTrustedInstaller[] = L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";

using Descriptor = Kuv::UniqueLocalMemory<void>;

Descriptor MakeDescriptor(const std::wstring& sddl) {
  Descriptor descriptor;
  if (::ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl.c_str(), SDDL_REVISION_1, descriptor.Put(),
                                                             nullptr) == FALSE) {
    throw std::runtime_error{"no descriptor of " + WideToUtf8(sddl)};
  }
  return descriptor;
}

ACL* ListOf(const Descriptor& descriptor) {
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  ACL* acl = nullptr;
  ::GetSecurityDescriptorDacl(descriptor.Get(), &present, &acl, &defaulted);
  return acl;
}

PSID OwnerOf(const Descriptor& descriptor) {
  PSID owner = nullptr;
  BOOL defaulted = FALSE;
  ::GetSecurityDescriptorOwner(descriptor.Get(), &owner, &defaulted);
  return owner;
}

// A DACL with SYSTEM and Administrators, followed by other entries.
std::wstring With(const std::wstring& others) {
  return L"D:P(A;OICI;KA;;;SY)(A;OICI;KA;;;BA)(A;CIIO;KA;;;CO)" + others;
}

class AccessFindings : public SettingsFixture {
 protected:
  AccessFindings() : named("GetNamedSecurityInfoW") {
    named.Answer([this](auto path, SE_OBJECT_TYPE type, SECURITY_INFORMATION what, PSID* owner, PSID* group,
                        PACL* acl, PACL* audit, PSECURITY_DESCRIPTOR* descriptor) -> DWORD {
      EXPECT_EQ(type, SE_FILE_OBJECT);
      if (path != appData.Path(L"Kuvant")) return AnswerModuleFolder(path, owner, acl, descriptor);
      if (folderStatus != ERROR_SUCCESS) return folderStatus;
      if (folder.empty()) return named.Original(path, type, what, owner, group, acl, audit, descriptor);
      Descriptor answer = MakeDescriptor(folder);
      *acl = ListOf(answer);
      *owner = OwnerOf(answer);
      *descriptor = answer.Release();
      return ERROR_SUCCESS;
    });
  }

  DWORD AnswerModuleFolder(const std::wstring& path, PSID* owner, PACL* acl,
                           PSECURITY_DESCRIPTOR* descriptor) {
    moduleFolders.push_back(path);
    if (moduleFolderStatus != ERROR_SUCCESS) return moduleFolderStatus;
    Descriptor answer = MakeDescriptor(moduleFolder);
    *acl = ListOf(answer);
    *owner = OwnerOf(answer);
    *descriptor = answer.Release();
    return ERROR_SUCCESS;
  }

  static void RegisterModule(const wchar_t* classes, const wchar_t* module) {
    TestKey{HKEY_LOCAL_MACHINE, std::wstring{classes} + kFilterClassText + L"\\InprocServer32"}.SetText(
        L"", module);
  }

  static void Protect(const wchar_t* path, const std::wstring& sddl) {
    const Descriptor descriptor = MakeDescriptor(sddl);
    Kuv::UniqueRegistryKey key;
    ASSERT_EQ(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_ALL_ACCESS, key.Put()), ERROR_SUCCESS);
    ASSERT_EQ(::RegSetKeySecurity(key.Get(), DACL_SECURITY_INFORMATION, descriptor.Get()), ERROR_SUCCESS);
  }

  static void ProtectLocal(const std::wstring& sddl) { Protect(L"Software\\Kuvant\\KuvCredProv", sddl); }
  static void ProtectPolicy(const std::wstring& sddl) {
    Protect(L"Software\\Policies\\Kuvant\\KuvCredProv", sddl);
  }

  // Expects one finding of the machine and returns it.
  static Finding Only(const char* id) {
    const FilterCheck::Situation situation = Examine();
    EXPECT_THAT(IdsOf(situation), ElementsAre(id));
    return situation.findings.empty() ? Finding{} : situation.findings.front();
  }

  std::string FolderName() const { return WideToUtf8(appData.Path(L"Kuvant")); }

  // The descriptor of the log folder. If empty, the call goes to the platform.
  std::wstring folder;
  DWORD folderStatus = ERROR_SUCCESS;
  // The descriptor of the folders of registered modules, and those that were asked for.
  std::wstring moduleFolder = L"O:BA" + With(L"");
  DWORD moduleFolderStatus = ERROR_SUCCESS;
  std::vector<std::wstring> moduleFolders;
  ImportHook<decltype(&::GetNamedSecurityInfoW)> named;
};

TEST_F(AccessFindings, AreEmptyForAdministratorsAndCreators) {
  ProtectLocal(With(L"(A;;KA;;;S-1-5-21-1-2-3-1001)(A;;KA;;;S-1-5-21-1-2-3-512)"));
  folder = With(L"");
  EXPECT_THAT(IdsOf(Examine()), IsEmpty());
}

TEST_F(AccessFindings, WarnOfReadAccessToTheSecret) {
  ProtectLocal(With(L"(A;;KR;;;BU)"));
  const Finding finding = Only("access.key");
  EXPECT_EQ(finding.severity, Severity::Warning);
  EXPECT_EQ(finding.subject, kLocalKey);
  EXPECT_EQ(finding.text, "Users without administrative rights (Users) can read " + std::string{kLocalKey} +
                              ". Anyone who can read it has the client key.");
  EXPECT_EQ(finding.advice,
            "Grant access to SYSTEM and Administrators only, and remove inherited permissions.");
}

TEST_F(AccessFindings, NoteReadAccessToAKeyWithoutTheSecret) {
  ProtectPolicy(With(L"(A;;KR;;;AU)"));
  const Finding finding = Only("access.key");
  EXPECT_EQ(finding.severity, Severity::Note);
  EXPECT_EQ(finding.subject, kPolicyKey);
  EXPECT_THAT(finding.text, Not(HasSubstr("client key")));
}

TEST_F(AccessFindings, WarnOfEveryRightToModifyAKey) {
  for (const wchar_t* const right : {L"KA", L"KW", L"0x2", L"SD", L"WD", L"WO", L"GA", L"GW"}) {
    SCOPED_TRACE(WideToUtf8(right));
    ProtectPolicy(With(L"(A;;" + std::wstring{right} + L";;;WD)"));
    const Finding finding = Only("access.key");
    EXPECT_EQ(finding.severity, Severity::Warning);
    EXPECT_THAT(finding.text,
                AllOf(HasSubstr("(Everyone) can "), HasSubstr("modify " + std::string{kPolicyKey}),
                      HasSubstr(". Anyone who can modify it can turn off")));
  }
}

TEST_F(AccessFindings, NameEveryGroupOnce) {
  ProtectLocal(
      With(L"(A;;KR;;;WD)(A;;KA;;;IU)(A;;KR;;;WD)(A;;KR;;;AC)(A;;KR;;;S-1-5-21-1-2-3-513)(A;;KR;;;BG)"));
  EXPECT_THAT(
      Examine().findings.front().text,
      HasSubstr("(Everyone, Interactive, All application packages, Domain Users, Guests) can read and "
                "modify " +
                std::string{kLocalKey}));
}

TEST_F(AccessFindings, ApplyDenialsToTheSameGroupAndLaterEntries) {
  const std::pair<std::wstring, bool> rows[] = {
      // Denied, inherited only, or harmless.
      {L"D:P(D;;KA;;;BG)" + With(L"(A;;KR;;;BG)(A;CIIO;KA;;;WD)(A;;0x8;;;AU)").substr(3), false},
      // Denied too late, for another group, or for inheritance only.
      {With(L"(A;;KR;;;BG)(D;;KA;;;BG)"), true},
      {L"D:P(D;;KA;;;BG)" + With(L"(A;;KR;;;AC)").substr(3), true},
      {L"D:P(D;CIIO;KA;;;BG)" + With(L"(A;;KR;;;BG)").substr(3), true},
  };
  for (const auto& [sddl, expected] : rows) {
    SCOPED_TRACE(WideToUtf8(sddl));
    ProtectLocal(sddl);
    EXPECT_EQ(IdsOf(Examine()), std::vector<std::string>(expected ? 1 : 0, "access.key"));
  }
}

TEST_F(AccessFindings, TreatAMissingListAsOpenToEveryone) {
  named.Answer([](auto, auto, auto, auto, auto, PACL* acl, auto, auto) -> DWORD {
    *acl = nullptr;
    return ERROR_SUCCESS;
  });
  EXPECT_THAT(Examine().findings.front().text, HasSubstr("(Everyone) can read and modify the log folder"));
}

TEST_F(AccessFindings, WarnOfAccessToTheLogFolder) {
  folder = With(L"(A;OICI;0x1200a9;;;BU)");
  const Finding finding = Only("access.log-folder");
  EXPECT_EQ(finding.severity, Severity::Warning);
  EXPECT_EQ(finding.subject, FolderName());
  EXPECT_THAT(finding.text, HasSubstr("(Users) can read the log folder " + FolderName()));
  EXPECT_THAT(finding.advice, HasSubstr("the next time it opens the log"));
  for (const wchar_t* const right : {L"0x2", L"0x4", L"0x40", L"SD", L"GA"}) {
    folder = With(L"(A;;" + std::wstring{right} + L";;;BU)");
    EXPECT_THAT(Examine().findings.front().text, HasSubstr("modify the log folder")) << WideToUtf8(right);
  }
}

TEST_F(AccessFindings, WarnOfAnotherOwnerOfTheLogFolder) {
  for (const wchar_t* const owner : {L"SY", L"BA", kTrustedInstaller}) {
    folder = L"O:" + std::wstring{owner} + With(L"");
    EXPECT_THAT(IdsOf(Examine()), IsEmpty()) << WideToUtf8(owner);
  }
  folder = L"O:S-1-5-21-1-2-3-1001" + With(L"");
  const Finding finding = Only("access.owner");
  EXPECT_EQ(finding.severity, Severity::Warning);
  EXPECT_EQ(finding.subject, FolderName());
  EXPECT_EQ(finding.text,
            FolderName() + " is owned by S-1-5-21-1-2-3-1001, who can change its permissions at any time.");
  EXPECT_EQ(finding.advice, "Make Administrators the owner.");
}

// An owner that runs the program with administrative rights is an administrator.
TEST_F(AccessFindings, AcceptTheUserOfTheProgramAsOwnerIfElevated) {
  const std::wstring user = FilterCheck::ElevatedUser();
  ASSERT_FALSE(user.empty()) << "this test requires administrative rights";
  folder = L"O:" + user + With(L"");
  EXPECT_THAT(IdsOf(Examine()), IsEmpty());
  KUV_IMPORT_HOOK(token, GetTokenInformation);
  token.Answer([&](HANDLE handle, TOKEN_INFORMATION_CLASS what, LPVOID data, DWORD size, PDWORD needed) {
    const BOOL answer = token.Original(handle, what, data, size, needed);
    if (what == TokenElevation) static_cast<TOKEN_ELEVATION*>(data)->TokenIsElevated = 0;
    return answer;
  });
  EXPECT_EQ(FilterCheck::ElevatedUser(), L"");
  Only("access.owner");
}

TEST_F(AccessFindings, WarnOfAnotherOwnerOfAKey) {
  KUV_IMPORT_HOOK(info, GetSecurityInfo);
  const Descriptor other = MakeDescriptor(L"O:S-1-5-21-1-2-3-1001" + With(L""));
  info.Answer([&](auto, auto, auto, PSID* owner, auto, PACL* acl, auto, auto) -> DWORD {
    *owner = OwnerOf(other);
    *acl = ListOf(other);
    return ERROR_SUCCESS;
  });
  const FilterCheck::Situation situation = Examine();
  ASSERT_THAT(IdsOf(situation), ElementsAre("access.owner", "access.owner"));
  EXPECT_EQ(situation.findings[0].subject, kPolicyKey);
  EXPECT_EQ(situation.findings[1].subject, kLocalKey);
}

TEST_F(AccessFindings, AreEmptyForAMissingFolder) {
  EXPECT_THAT(IdsOf(Examine()), IsEmpty());
  EXPECT_EQ(named.CallCount(), 1u);
  folderStatus = ERROR_PATH_NOT_FOUND;
  EXPECT_THAT(IdsOf(Examine()), IsEmpty());
}

TEST_F(AccessFindings, ReadAnExistingFolder) {
  std::filesystem::create_directory(appData.Path(L"Kuvant"));
  EXPECT_NO_THROW(Examine());
}

// The result for a user without administrative rights. The folder is protected as required.
TEST_F(AccessFindings, NoteAFolderWhosePermissionsCannotBeRead) {
  folderStatus = ERROR_ACCESS_DENIED;
  const Finding finding = Only("access.unknown");
  EXPECT_EQ(finding.severity, Severity::Note);
  EXPECT_EQ(finding.subject, FolderName());
  EXPECT_THAT(finding.text, AllOf(HasSubstr("cannot be read: "), HasSubstr("(error 5)")));
  EXPECT_EQ(finding.advice, "Run KuvFilterCheck as an administrator.");
}

TEST_F(AccessFindings, NoteAKeyWhosePermissionsCannotBeRead) {
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  open.Answer([&](HKEY root, const char* path, DWORD options, REGSAM access, HKEY* key) -> LSTATUS {
    if (access == READ_CONTROL && std::string{path} == "Software\\Kuvant\\KuvCredProv")
      return ERROR_ACCESS_DENIED;
    return open.Original(root, path, options, access, key);
  });
  EXPECT_EQ(Only("access.unknown").subject, kLocalKey);
}

TEST_F(AccessFindings, WarnOfReparsePointAsLogFolder) {
  KUV_IMPORT_HOOK(attributes, GetFileAttributesW);
  DWORD answer = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
  attributes.Answer([&](LPCWSTR path) {
    EXPECT_EQ(path, appData.Path(L"Kuvant"));
    return answer;
  });
  folder = With(L"");
  const Finding finding = Only("access.log-folder-reparse-point");
  EXPECT_EQ(finding.severity, Severity::Warning);
  EXPECT_EQ(finding.subject, FolderName());
  EXPECT_THAT(finding.text, StartsWith("The log folder " + FolderName() + " is a reparse point."));
  EXPECT_THAT(finding.advice, HasSubstr("delete it"));
  for (const DWORD other : {DWORD{FILE_ATTRIBUTE_DIRECTORY}, DWORD{INVALID_FILE_ATTRIBUTES}}) {
    answer = other;
    EXPECT_THAT(IdsOf(Examine()), IsEmpty());
  }
}

TEST_F(AccessFindings, WarnOfEveryRightToReplaceTheRegisteredModule) {
  RegisterModule(kClasses64, L"C:\\Programs\\KuvCredFilter.dll");
  struct Row {
    const wchar_t* right;
    bool isWarning;
  } const rows[] = {
      {L"GA", true}, {L"FA", true}, {L"GW", true},        {L"0x2", true},   {L"0x40", true}, {L"SD", true},
      {L"WD", true}, {L"WO", true}, {L"0x1200a9", false}, {L"GRGX", false}, {L"0x4", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(WideToUtf8(row.right));
    moduleFolder = L"O:BA" + With(L"(A;OICI;" + std::wstring{row.right} + L";;;BU)");
    if (!row.isWarning) {
      EXPECT_THAT(IdsOf(Examine()), IsEmpty());
      continue;
    }
    const Finding finding = Only("access.module-folder");
    EXPECT_EQ(finding.severity, Severity::Warning);
    EXPECT_EQ(finding.subject, "C:\\Programs");
    EXPECT_EQ(finding.text,
              "Users without administrative rights (Users) can modify the folder of the "
              "registered module, C:\\Programs. They can replace the DLL that the logon process loads.");
  }
}

TEST_F(AccessFindings, ReportOwnerAndUnknownPermissionsOfModuleFolder) {
  RegisterModule(kClasses64, L"C:\\Programs\\KuvCredFilter.dll");
  moduleFolder = L"O:S-1-5-21-1-2-3-1001" + With(L"");
  EXPECT_EQ(Only("access.owner").subject, "C:\\Programs");
  moduleFolderStatus = ERROR_ACCESS_DENIED;
  EXPECT_EQ(Only("access.unknown").subject, "C:\\Programs");
  moduleFolderStatus = ERROR_PATH_NOT_FOUND;
  EXPECT_THAT(IdsOf(Examine()), IsEmpty());
}

TEST_F(AccessFindings, CoverFoldersOfBothRegisteredModulesOnce) {
  struct Row {
    const char* name;
    const wchar_t* module64;
    const wchar_t* module32;
    std::vector<std::wstring> folders;
  } const rows[] = {
      {"none", L"", L"", {}},
      {"two folders", L"C:\\a\\f.dll", L"C:\\b\\f.dll", {L"C:\\a", L"C:\\b"}},
      {"root folder", L"C:\\f.dll", L"", {L"C:\\"}},
      {"only 32-bit", L"", L"D:/b/f.dll", {L"D:/b"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    RegisterModule(kClasses64, row.module64);
    RegisterModule(kClasses32, row.module32);
    moduleFolders.clear();
    EXPECT_THAT(IdsOf(Examine()), IsEmpty());
    EXPECT_EQ(moduleFolders, row.folders);
  }
  RegisterModule(kClasses64, L"C:\\a\\f.dll");
  RegisterModule(kClasses32, L"c:\\A\\g.dll");
  moduleFolder = L"O:S-1-5-21-1-2-3-1001" + With(L"");
  Only("access.owner");
}

}  // namespace
