#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "AclReader.h"
#include "KuvAuth/ProtectedStorage/ProtectedStorage.h"
#include "SecurityCalls.h"
#include "Support/ImportHook.h"
#include "Support/LogCapture.h"
#include "Support/TempFolder.h"
#include "Support/Wine.h"

namespace {

using KuvTest::AclEntries;
using KuvTest::AdminOnlyEntries;
using KuvTest::ExpectAdminOnly;
using KuvTest::LogCapture;
using KuvTest::LogLines;
using KuvTest::ReadAcl;
using KuvTest::SecurityCalls;
using KuvTest::TempFolder;

using Events = std::vector<std::string>;
using Calls = std::vector<std::string>;

// The common application data folder is a temporary one. The platform calls check their arguments.
class ProtectedFolder : public ::testing::Test {
 protected:
  ProtectedFolder() {
    appData.Answer([this](HWND window, int identifier, HANDLE token, DWORD flags, wchar_t* path) -> HRESULT {
      events.push_back("find");
      EXPECT_EQ(window, nullptr);
      EXPECT_EQ(identifier, 0x23);
      EXPECT_EQ(token, nullptr);
      EXPECT_EQ(flags, 0u);
      EXPECT_EQ(std::wstring(path, 260), std::wstring(260, L'\0'));
      appDataPath.copy(path, 259);
      return appDataResult;
    });
    create.Answer([this](const wchar_t* path, SECURITY_ATTRIBUTES* attributes) {
      events.push_back("create");
      EXPECT_EQ(path, appDataPath + L"\\Kuvant");
      EXPECT_EQ(attributes->nLength, sizeof(void*) == 8 ? 24u : 12u);
      EXPECT_EQ(attributes->bInheritHandle, FALSE);
      ExpectAdminOnly(static_cast<SECURITY_DESCRIPTOR*>(attributes->lpSecurityDescriptor));
      return createAnswer ? createAnswer() : create.Original(path, attributes);
    });
    protect.Answer([this](wchar_t* path, SE_OBJECT_TYPE type, SECURITY_INFORMATION information, PSID owner,
                          PSID group, ACL* dacl, ACL* sacl) -> DWORD {
      events.push_back("protect");
      EXPECT_EQ(path, appDataPath + L"\\Kuvant");
      EXPECT_EQ(static_cast<int>(type), 1);
      EXPECT_EQ(information, 0x80000004u);
      EXPECT_EQ(owner, nullptr);
      EXPECT_EQ(group, nullptr);
      EXPECT_EQ(sacl, nullptr);
      EXPECT_EQ(ReadAcl(dacl), AdminOnlyEntries());
      if (protectStatus != ERROR_SUCCESS) return protectStatus;
      return protect.Original(path, type, information, owner, group, dacl, sacl);
    });
  }

  std::wstring Kuvant() const { return folder.Path(L"Kuvant"); }
  // The error line of a folder that cannot be created.
  static LogLines CreateFailure(const std::wstring& path, int code) {
    return {{LogLevel::Error, "Failure creating Kuv AppData folder " + WideToUtf8(path) +
                                  " for filename 'kuv.log'. {error: " + std::to_string(code) + "}"}};
  }
  // Creates the folder without the hook.
  void CreateFolder() const { ASSERT_NE(create.Original(Kuvant().c_str(), nullptr), FALSE); }

  TempFolder folder;
  std::wstring appDataPath = folder.Path();
  HRESULT appDataResult = S_OK;
  std::function<BOOL()> createAnswer;
  DWORD protectStatus = ERROR_SUCCESS;
  Events events;
  LogCapture log;
  KuvTest::ImportHook<decltype(&::SHGetFolderPathW)> appData{"SHGetFolderPathW"};
  KuvTest::ImportHook<decltype(&::CreateDirectoryW)> create{"CreateDirectoryW"};
  KuvTest::ImportHook<decltype(&::SetNamedSecurityInfoW)> protect{"SetNamedSecurityInfoW"};
};

const Calls kAllReleases{"FreeSid 1", "LocalFree 2", "FreeSid 3", "LocalFree 4"};

bool IsFolder(const std::wstring& path) {
  const DWORD attributes = ::GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

TEST_F(ProtectedFolder, IsCreatedWithTheDescriptorIfItIsMissingButNotTheFile) {
  EXPECT_EQ(GetAppDataFilePath(L"kuv.log"), Kuvant() + L"\\kuv.log");
  EXPECT_EQ(events, (Events{"find", "create"}));
  EXPECT_TRUE(IsFolder(Kuvant()));
  EXPECT_EQ(::GetFileAttributesW((Kuvant() + L"\\kuv.log").c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(ProtectedFolder, IsProtectedOnEveryCallIfItExists) {
  CreateFolder();
  EXPECT_EQ(GetAppDataFilePath(L"a.log"), Kuvant() + L"\\a.log");
  EXPECT_EQ(GetAppDataFilePath(L"b.log"), Kuvant() + L"\\b.log");
  EXPECT_EQ(events, (Events{"find", "protect", "find", "protect"}));
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(ProtectedFolder, ReturnsThePathOfAnyFileName) {
  EXPECT_EQ(GetAppDataFilePath(L""), Kuvant() + L"\\");
  EXPECT_EQ(GetAppDataFilePath(L"caf\xE9 100%s.log"), Kuvant() + L"\\caf\xE9 100%s.log");
  const std::wstring longName(2000, L'x');
  EXPECT_EQ(GetAppDataFilePath(longName), Kuvant() + L"\\" + longName);
}

TEST_F(ProtectedFolder, AcceptsTheLongestApplicationDataFolder) {
  appDataPath = L"C:\\" + std::wstring(256, L'x');
  createAnswer = [] { return TRUE; };
  EXPECT_EQ(GetAppDataFilePath(L"kuv.log"), appDataPath + L"\\Kuvant\\kuv.log");
  EXPECT_EQ(events, (Events{"find", "create"}));
}

TEST_F(ProtectedFolder, FailsWithoutADescriptor) {
  SecurityCalls platform;
  platform.Fail(1);
  EXPECT_EQ(GetAppDataFilePath(L"kuv.log"), L"");
  EXPECT_EQ(events, Events{});
  EXPECT_EQ(log.Lines(),
            (LogLines{{LogLevel::Warning,
                       "CSecurityDescriptor::GetAdminOnlyDescriptor AllocateAndInitializeSid Error 1314"},
                      {LogLevel::Error,
                       "Unable to create security descriptor for Kuv AppData folder. "
                       "{reason Failed to create security descriptor}"}}));
}

TEST_F(ProtectedFolder, PassesAnyOtherExceptionOn) {
  KUV_IMPORT_HOOK(isValid, IsValidSecurityDescriptor);
  isValid.Answer([](void*) -> BOOL { throw std::runtime_error{"failed"}; });
  EXPECT_THROW(static_cast<void>(GetAppDataFilePath(L"kuv.log")), std::runtime_error);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(ProtectedFolder, FailsWithoutTheApplicationDataFolder) {
  SecurityCalls platform;
  for (const HRESULT result : {E_FAIL, HRESULT{E_ACCESSDENIED}, HRESULT{-1}}) {
    appDataResult = result;
    EXPECT_EQ(GetAppDataFilePath(L"kuv.log"), L"") << result;
  }
  EXPECT_EQ(events, (Events{"find", "find", "find"}));
  const KuvTest::LogLine line{LogLevel::Error, "Unable to get Kuv AppData path for filename 'kuv.log'"};
  EXPECT_EQ(log.Lines(), (LogLines{line, line, line}));
  EXPECT_FALSE(IsFolder(Kuvant()));
}

TEST_F(ProtectedFolder, TreatsAPositiveResultAsSuccess) {
  appDataResult = S_FALSE;
  EXPECT_EQ(GetAppDataFilePath(L"kuv.log"), Kuvant() + L"\\kuv.log");
}

// The runtime of Visual C++ is linked statically, so its formatter has no import.
#if !defined(_MSC_VER) && defined(_WIN64)
TEST_F(ProtectedFolder, FailsIfItsPathDoesNotFit) {
  KuvTest::ImportHook<int (*)(wchar_t*, std::size_t, const wchar_t*, char*)> format{"_vsnwprintf"};
  format.Answer([](auto...) { return -1; });
  EXPECT_EQ(GetAppDataFilePath(L"kuv.log"), L"");
  EXPECT_EQ(format.CallCount(), 1u);
  EXPECT_EQ(events, Events{"find"});
  EXPECT_EQ(log.Lines(),
            (LogLines{{LogLevel::Error, "Unable to get Kuv AppData path for filename 'kuv.log'"}}));
}
#endif

// Returns the list and the control bits of a folder or a file, as the platform keeps them.
struct StoredSecurity {
  AclEntries entries;
  SECURITY_DESCRIPTOR_CONTROL control = 0;
};

StoredSecurity ReadSecurity(std::wstring path) {
  StoredSecurity stored;
  ACL* acl = nullptr;
  Kuv::UniqueLocalMemory<void> descriptor;
  DWORD revision = 0;
  EXPECT_EQ(::GetNamedSecurityInfoW(path.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                    &acl, nullptr, descriptor.Put()),
            DWORD{ERROR_SUCCESS});
  EXPECT_NE(::GetSecurityDescriptorControl(descriptor.Get(), &stored.control, &revision), FALSE);
  stored.entries = ReadAcl(acl);
  return stored;
}

bool Grants(const AclEntries& entries, const char* sid) {
  return std::any_of(entries.begin(), entries.end(), [=](const auto& entry) { return entry.sid == sid; });
}

void ExpectNoAccessForUsers(const AclEntries& entries) {
  EXPECT_FALSE(Grants(entries, "S-1-1-0")) << "everyone";
  EXPECT_FALSE(Grants(entries, "S-1-5-11")) << "authenticated users";
  EXPECT_FALSE(Grants(entries, "S-1-5-32-545")) << "users";
}

TEST_F(ProtectedFolder, GrantsFullControlToTheSystemAndNothingToUsers) {
  static_cast<void>(GetAppDataFilePath(L"kuv.log"));
  const AclEntries entries = ReadSecurity(Kuvant()).entries;
  ExpectNoAccessForUsers(entries);
  EXPECT_EQ(MeaningOf(entries, KuvTest::kFileMapping)["S-1-5-18"],
            (KuvTest::AccountRights{FILE_ALL_ACCESS, FILE_ALL_ACCESS}));
  const DWORD inheritance = CONTAINER_INHERIT_ACE | OBJECT_INHERIT_ACE;
  EXPECT_TRUE(std::any_of(entries.begin(), entries.end(), [=](const auto& entry) {
    return entry.sid == "S-1-5-18" && (entry.flags & inheritance) == inheritance;
  }));
}

TEST_F(ProtectedFolder, IsProtectedAndANewFileInheritsItsEntries) {
  if (KuvTest::RunsUnderWine()) GTEST_SKIP() << "Wine maps the list to the modes of the host's file system";
  const std::wstring path = GetAppDataFilePath(L"kuv.log");
  for (const char* const state : {"created", "protected again"}) {
    SCOPED_TRACE(state);
    const StoredSecurity stored = ReadSecurity(Kuvant());
    EXPECT_NE(stored.control & SE_DACL_PROTECTED, 0);
    EXPECT_TRUE(Grants(stored.entries, "S-1-5-32-544"));
    ExpectNoAccessForUsers(stored.entries);
    KuvTest::WriteFileBytes(path, "text");
    const AclEntries file = ReadSecurity(path).entries;
    ASSERT_EQ(file.size(), 2u);
    EXPECT_TRUE(Grants(file, "S-1-5-18"));
    EXPECT_TRUE(Grants(file, "S-1-5-32-544"));
    static_cast<void>(GetAppDataFilePath(L"kuv.log"));
  }
}

TEST_F(ProtectedFolder, IsUsedEvenIfItCannotBeProtected) {
  CreateFolder();
  protectStatus = ERROR_ACCESS_DENIED;
  EXPECT_EQ(GetAppDataFilePath(L"kuv.log"), Kuvant() + L"\\kuv.log");
  EXPECT_EQ(
      log.Lines(),
      (LogLines{{LogLevel::Warning, "Failure setting security information to Kuv AppData folder " +
                                        WideToUtf8(Kuvant()) + " for filename 'kuv.log'. {error: 5}"}}));
}

TEST_F(ProtectedFolder, FailsIfItCannotBeCreated) {
  createAnswer = [] {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  };
  EXPECT_EQ(GetAppDataFilePath(L"kuv.log"), L"");
  EXPECT_EQ(log.Lines(), CreateFailure(Kuvant(), 5));
}

TEST_F(ProtectedFolder, FailsIfAFileHasItsName) {
  KuvTest::WriteFileBytes(Kuvant(), "a file");
  EXPECT_EQ(GetAppDataFilePath(L"kuv.log"), L"");
  EXPECT_EQ(events, (Events{"find", "create"}));
  EXPECT_EQ(log.Lines(), CreateFailure(Kuvant(), 183));
  EXPECT_EQ(KuvTest::ReadFileBytes(Kuvant()), "a file");
}

TEST_F(ProtectedFolder, IsCreatedOnlyOneLevelDeep) {
  appDataPath = folder.Path(L"missing");
  EXPECT_EQ(GetAppDataFilePath(L"kuv.log"), L"");
  EXPECT_EQ(log.Lines(), CreateFailure(appDataPath + L"\\Kuvant", 3));
}

TEST_F(ProtectedFolder, ReleasesTheDescriptorOnEveryPath) {
  const std::pair<const char*, std::function<void()>> paths[] = {
      {"created", [] {}},
      {"protected", [] {}},
      {"not protected", [this] { protectStatus = ERROR_ACCESS_DENIED; }},
      {"not found", [this] { appDataResult = E_FAIL; }},
      {"not created",
       [this] {
         appDataResult = S_OK;
         ::RemoveDirectoryW(Kuvant().c_str());
         createAnswer = [] { return FALSE; };
       }},
  };
  for (const auto& [name, prepare] : paths) {
    SCOPED_TRACE(name);
    prepare();
    SecurityCalls platform;
    static_cast<void>(GetAppDataFilePath(L"kuv.log"));
    EXPECT_EQ(platform.releases, kAllReleases);
  }
  EXPECT_EQ(events,
            (Events{"find", "create", "find", "protect", "find", "protect", "find", "find", "create"}));
}

TEST_F(ProtectedFolder, IsLookedUpAfterTheDescriptorIsCreated) {
  KUV_IMPORT_HOOK(isValid, IsValidSecurityDescriptor);
  isValid.Answer([&](void* descriptor) {
    events.push_back("descriptor");
    return isValid.Original(descriptor);
  });
  static_cast<void>(GetAppDataFilePath(L"kuv.log"));
  EXPECT_EQ(events, (Events{"descriptor", "find", "create"}));
}

}  // namespace
