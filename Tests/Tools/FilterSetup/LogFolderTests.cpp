// The command "prepare" and the log folder.
#include <windows.h>

#include <gmock/gmock.h>

#include "KuvAuth/Support/Text.h"
#include "Tools/FilterSetup/SetupFixture.h"

namespace {

using namespace KuvTest;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr wchar_t kTrustedInstaller[] = L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";
constexpr char kMoved[] = ", because it belongs to another user or contains something that does\n";

class PrepareLogFolder : public SetupFixture {
 protected:
  static SetupRun Prepare() { return RunSetup({L"prepare"}); }
  std::string Line(const std::string& text) const { return Shown(Folder()) + ": " + text + "\n"; }
  std::string Created() const { return Line("created for SYSTEM and Administrators only"); }
  std::string Moved(int number) const {
    return Shown(Folder()) + ": moved to " + Shown(Aside(number)) + kMoved;
  }

  // Expects that the run changes nothing, says why in one line, and that the next run succeeds.
  void ExpectFailure(const SetupRun& run, const std::string& reason) const {
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, testing::StartsWith("KuvFilterSetup: " + Shown(Folder()) + ": " + reason));
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
  }
};

TEST_F(PrepareLogFolder, CreatesItForAdministrators) {
  const SetupRun run = Prepare();
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, Created());
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(created, ElementsAre(AdministratorsOnly()));
  EXPECT_THAT(appData.Names(), ElementsAre(L"Kuvant"));
}

TEST_F(PrepareLogFolder, ChangesNothingASecondTime) {
  Prepare();
  const std::vector<std::wstring> before = created;
  const SetupRun run = Prepare();
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, "nothing to change\n");
  EXPECT_EQ(created, before);
  EXPECT_THAT(replaced, IsEmpty());
}

TEST_F(PrepareLogFolder, ProtectsFolderOfTrustedOwnerInPlace) {
  for (const std::wstring owner : {L"SY", L"BA", kTrustedInstaller}) {
    SCOPED_TRACE(WideToUtf8(owner));
    if (appData.Names().empty()) MakeFolder({});
    sddl[Folder()] = L"O:" + owner + L"D:(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;CI;0x6;;;BU)";
    WriteFileBytes(InFolder(L"kuv.log"), "line");
    replaced.clear();
    const SetupRun run = Prepare();
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, Line("protected: owner Administrators, access for SYSTEM and Administrators only"));
    EXPECT_THAT(replaced, ElementsAre(AdministratorsOnly()));
    EXPECT_EQ(ReadFileBytes(InFolder(L"kuv.log")), "line");
  }
}

TEST_F(PrepareLogFolder, ReplacesEveryOtherAccessList) {
  const wchar_t* const rows[] = {
      L"O:BA",                                                       // none: everyone
      L"O:BAD:P",                                                    // no one
      L"O:BAD:(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)",                     // inherits
      L"O:BAD:P(A;OICI;FA;;;SY)",                                    // not for Administrators
      L"O:BAD:P(A;OICI;FA;;;SY)(A;OICIIO;FA;;;BA)",                  // the same
      L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FR;;;BA)",                    // too few rights
      L"O:BAD:P(D;OICI;FW;;;SY)(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)",    // denies
      L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;;FR;;;BU)",        // users
      L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICIIO;FR;;;BU)",  // users, new objects
      L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;;FR;;;CO)",        // not only for new objects
  };
  MakeFolder({});
  for (const wchar_t* const row : rows) {
    SCOPED_TRACE(WideToUtf8(row));
    sddl[Folder()] = row;
    replaced.clear();
    EXPECT_EQ(Prepare().exitCode, 0);
    EXPECT_THAT(replaced, ElementsAre(AdministratorsOnly()));
  }
}

// For example one with a condition, which the program does not evaluate.
TEST_F(PrepareLogFolder, ReplacesAccessListWithEntryOfUnknownType) {
  MakeFolder(kProtectedFolder);
  KUV_IMPORT_HOOK(callback, GetSecurityInfo);
  callback.Answer(
      [&](auto object, auto type, auto what, auto owner, auto group, ACL** acl, auto audit, auto descriptor) {
        const DWORD status = callback.Original(object, type, what, owner, group, acl, audit, descriptor);
        void* ace = nullptr;
        if (::GetAce(*acl, 1, &ace) == FALSE) ADD_FAILURE() << "no entry";
        static_cast<ACE_HEADER*>(ace)->AceType = ACCESS_ALLOWED_CALLBACK_ACE_TYPE;
        return status;
      });
  EXPECT_THAT(RunSetup({L"status"}).out, HasSubstr(Shown(Folder()) + ": would be protected"));
}

TEST_F(PrepareLogFolder, MovesForeignFolderAsideWithItsContent) {
  MakeFolder(kUsersFolder);
  WriteFileBytes(InFolder(L"kuv.log"), "line");
  const SetupRun run = Prepare();
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, Moved(1) + Created());
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(ReadFileBytes(Aside(1) + L"\\kuv.log"), "line");
  EXPECT_THAT(appData.Names(), ElementsAre(L"Kuvant", L"Kuvant.old-1"));
  EXPECT_EQ(::GetFileAttributesW(InFolder(L"kuv.log").c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_THAT(replaced, IsEmpty());
  EXPECT_EQ(Prepare().out, "nothing to change\n");
}

TEST_F(PrepareLogFolder, UsesFirstFreeNameForForeignFolder) {
  createDirectory.Original(Aside(1).c_str(), nullptr);
  WriteFileBytes(Aside(2), "file");
  MakeFolder(kUsersFolder);
  EXPECT_EQ(RunSetup({L"prepare", L"--dry-run"}).out,
            Shown(Folder()) + ": would be moved to " + Shown(Aside(3)) + kMoved +
                Line("would be created for SYSTEM and Administrators only"));
  EXPECT_EQ(Prepare().out, Moved(3) + Created());
  EXPECT_EQ(ReadFileBytes(Aside(2)), "file");
}

TEST_F(PrepareLogFolder, MovesFileWithItsNameAside) {
  WriteFileBytes(Folder(), "file");
  EXPECT_EQ(Prepare().out, Moved(1) + Created());
  EXPECT_EQ(ReadFileBytes(Aside(1)), "file");
}

TEST_F(PrepareLogFolder, MovesTrustedFolderWithForeignEntryAside) {
  MakeFolder(kProtectedFolder);
  WriteFileBytes(InFolder(L"a.log"), "mine");
  WriteFileBytes(InFolder(L"kuv.log"), "line");
  EXPECT_EQ(Prepare().out, "nothing to change\n");
  sddl[InFolder(L"kuv.log")] = kUsersFolder;
  const SetupRun run = Prepare();
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out, Moved(1) + Created());
  EXPECT_EQ(ReadFileBytes(Aside(1) + L"\\kuv.log"), "line");
}

TEST_F(PrepareLogFolder, MovesFolderWithLinkAside) {
  const struct {
    const char* name;
    DWORD attributes;
    DWORD links;
    bool moved;
  } rows[] = {
      {"ordinary file", FILE_ATTRIBUTE_NORMAL, 1, false},
      {"second name", FILE_ATTRIBUTE_NORMAL, 2, true},
      {"symbolic link", FILE_ATTRIBUTE_REPARSE_POINT, 1, true},
      {"folder", FILE_ATTRIBUTE_DIRECTORY, 3, false},
  };
  MakeFolder(kProtectedFolder);
  WriteFileBytes(InFolder(L"kuv.log"), "line");
  KUV_IMPORT_HOOK(information, GetFileInformationByHandle);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    information.Answer([&](HANDLE object, BY_HANDLE_FILE_INFORMATION* result) {
      const BOOL done = information.Original(object, result);
      if (PathOf(object) != InFolder(L"kuv.log")) return done;
      result->dwFileAttributes = row.attributes;
      result->nNumberOfLinks = row.links;
      return done;
    });
    EXPECT_EQ(RunSetup({L"prepare", L"--dry-run"}).out.find("moved") != std::string::npos, row.moved);
  }
}

TEST_F(PrepareLogFolder, MovesAsideWhatAppearsBeforeFolderIsProtected) {
  MakeFolder(L"O:BAD:(A;OICI;FA;;;BU)");
  setSecurity.Answer([this](HANDLE object, auto, auto, auto, auto, auto, auto) -> DWORD {
    sddl[PathOf(object)] = kProtectedFolder;
    WriteFileBytes(InFolder(L"kuv.log"), "planted");
    sddl[InFolder(L"kuv.log")] = kUsersFolder;
    return ERROR_SUCCESS;
  });
  const SetupRun run = Prepare();
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out, testing::EndsWith(Moved(1) + Created()));
  EXPECT_EQ(::GetFileAttributesW(InFolder(L"kuv.log").c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST_F(PrepareLogFolder, RefusesReparsePointAndTouchesNothingThere) {
  MakeFolder(kUsersFolder);
  KUV_IMPORT_HOOK(information, GetFileInformationByHandle);
  KUV_IMPORT_HOOK(rename, SetFileInformationByHandle);
  KUV_IMPORT_HOOK(open, CreateFileW);
  information.Answer([&](HANDLE object, BY_HANDLE_FILE_INFORMATION* result) {
    const BOOL done = information.Original(object, result);
    result->dwFileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
    return done;
  });
  ExpectFailure(Prepare(), "is a junction or another reparse point, so nothing was changed");
  EXPECT_EQ(rename.CallCount(), 0u);
  EXPECT_THAT(replaced, IsEmpty());
  EXPECT_THAT(created, IsEmpty());
  ASSERT_EQ(open.CallCount(), 1u);
  const DWORD flags = std::get<5>(open.Calls().front());
  EXPECT_EQ(flags, DWORD{FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS});
}

TEST_F(PrepareLogFolder, PreparesKeysAlthoughFolderCannotBe) {
  registry.Local().Delete();
  createDirectory.Answer([](auto, auto) {
    ::SetLastError(ERROR_DISK_FULL);
    return FALSE;
  });
  const SetupRun run = Prepare();
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.err, HasSubstr("cannot be created: "));
  EXPECT_THAT(run.err, HasSubstr("(error 112)\n"));
  EXPECT_EQ(run.out, "HKLM\\Software\\Kuvant\\KuvCredProv: created for SYSTEM and Administrators only\n");
}

TEST_F(PrepareLogFolder, RepeatsIfAnotherProcessCreatesFolder) {
  createDirectory.AnswerCall(1, [this](const wchar_t* path, SECURITY_ATTRIBUTES*) {
    createDirectory.Original(path, nullptr);
    sddl[path] = kUsersFolder;
    ::SetLastError(ERROR_ALREADY_EXISTS);
    return FALSE;
  });
  EXPECT_EQ(Prepare().out, Moved(1) + Created());
}

TEST_F(PrepareLogFolder, GivesUpIfAnotherProcessKeepsCreatingFolder) {
  createDirectory.Answer([](auto, auto) {
    ::SetLastError(ERROR_ALREADY_EXISTS);
    return FALSE;
  });
  ExpectFailure(Prepare(), "another process changes it");
  EXPECT_EQ(createDirectory.CallCount(), 5u);
}

TEST_F(PrepareLogFolder, DoesNotMoveWhatIsNoLongerForeign) {
  MakeFolder(kUsersFolder);
  KUV_IMPORT_HOOK(open, CreateFileW);
  open.AnswerCall(
      2, [&](auto path, DWORD access, auto share, auto security, auto how, auto flags, auto like) {
        EXPECT_EQ(access, DWORD{READ_CONTROL | FILE_READ_ATTRIBUTES | FILE_LIST_DIRECTORY | DELETE});
        sddl[Folder()] = kProtectedFolder;
        return open.Original(path, access, share, security, how, flags, like);
      });
  const SetupRun run = Prepare();
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out, "nothing to change\n");
  EXPECT_THAT(appData.Names(), ElementsAre(L"Kuvant"));
}

TEST_F(PrepareLogFolder, ReportsThatEveryNameIsTaken) {
  MakeFolder(kUsersFolder);
  KUV_IMPORT_HOOK(rename, SetFileInformationByHandle);
  rename.Answer([](auto, auto, auto, auto) {
    ::SetLastError(ERROR_ALREADY_EXISTS);
    return FALSE;
  });
  ExpectFailure(Prepare(), "cannot be moved aside: every name up to " + Shown(Aside(1000)) + " exists\n");
  EXPECT_EQ(rename.CallCount(), 1000u);
}

TEST_F(PrepareLogFolder, ChangesNothingInDryRun) {
  registry.Local().Delete();
  const std::string before = Snapshot();
  for (const wchar_t* const text : {L"", kUsersFolder, L"O:BAD:P"}) {
    SCOPED_TRACE(WideToUtf8(text));
    if (*text != L'\0' && appData.Names().empty()) MakeFolder({});
    if (*text != L'\0') sddl[Folder()] = text;
    const std::vector<std::wstring> names = appData.Names();
    const SetupRun run = RunSetup({L"prepare", L"--dry-run"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out, HasSubstr(Shown(Folder()) + ": would be "));
    EXPECT_THAT(run.out, HasSubstr("KuvCredProv: would be created"));
    EXPECT_EQ(appData.Names(), names);
  }
  EXPECT_EQ(Snapshot(), before);
  EXPECT_THAT(replaced, IsEmpty());
}

// Each platform call fails once. The next run completes what is left.
class FailingLogFolder : public PrepareLogFolder {
 protected:
  template <typename Hook>
  void Expect(Hook& hook, const wchar_t* text, const char* reason) {
    if (text != nullptr) MakeFolder(text);
    ExpectFailure(Prepare(), reason);
    EXPECT_THAT(appData.Names(), text == nullptr ? testing::Matcher<std::vector<std::wstring>>(IsEmpty())
                                                 : ElementsAre(L"Kuvant"));
    EXPECT_GE(hook.CallCount(), 1u);
    hook.Answer(nullptr);
  }
  void ExpectRecovery() {
    EXPECT_EQ(Prepare().exitCode, 0);
    EXPECT_EQ(Prepare().out, "nothing to change\n");
  }
};

TEST_F(FailingLogFolder, CannotBeOpened) {
  KUV_IMPORT_HOOK(open, CreateFileW);
  open.Answer([](auto, auto, auto, auto, auto, auto, auto) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
  });
  Expect(open, kUsersFolder, "cannot be opened: ");
  ExpectRecovery();
}

TEST_F(FailingLogFolder, HasNoAttributes) {
  KUV_IMPORT_HOOK(information, GetFileInformationByHandle);
  information.Answer([](auto, auto) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  });
  Expect(information, kUsersFolder, "cannot read the attributes: ");
  ExpectRecovery();
}

TEST_F(FailingLogFolder, HasNoReadableAccessList) {
  MakeFolder(kUsersFolder);
  getSecurity.AnswerCall(1,
                         [](auto, auto, auto, auto, auto, auto, auto, auto) { return ERROR_ACCESS_DENIED; });
  const SetupRun run = Prepare();
  ExpectFailure(run, "cannot read the access list: ");
  EXPECT_THAT(appData.Names(), ElementsAre(L"Kuvant"));
}

TEST_F(FailingLogFolder, CannotBeListed) {
  for (const std::size_t call : {1, 2}) {
    KUV_IMPORT_HOOK(list, GetFileInformationByHandleEx);
    list.AnswerCall(call, [](auto, auto, auto, auto) {
      ::SetLastError(ERROR_ACCESS_DENIED);
      return FALSE;
    });
    if (call == 1) MakeFolder(kProtectedFolder);
    ExpectFailure(Prepare(), "cannot list the folder: ");
    EXPECT_EQ(list.CallCount(), call);
  }
  ExpectRecovery();
}

TEST_F(PrepareLogFolder, FindsForeignEntryAmongMany) {
  MakeFolder(kProtectedFolder);
  for (int number = 0; number < 300; ++number)
    WriteFileBytes(InFolder(L"file-" + std::to_wstring(number)), "");
  EXPECT_EQ(Prepare().out, "nothing to change\n");
  sddl[InFolder(L"file-299")] = kUsersFolder;
  EXPECT_EQ(Prepare().out, Moved(1) + Created());
}

TEST_F(FailingLogFolder, CannotBeProtected) {
  MakeFolder(L"O:BAD:P");
  setSecurity.Answer([](auto, auto, auto, auto, auto, auto, auto) -> DWORD { return ERROR_ACCESS_DENIED; });
  ExpectFailure(Prepare(), "cannot be protected: ");
  EXPECT_THAT(appData.Names(), ElementsAre(L"Kuvant"));
}

TEST_F(FailingLogFolder, IsInUseAndCannotBeMoved) {
  KUV_IMPORT_HOOK(rename, SetFileInformationByHandle);
  rename.Answer([](auto, auto, auto, auto) {
    ::SetLastError(ERROR_SHARING_VIOLATION);
    return FALSE;
  });
  Expect(rename, kUsersFolder,
         "belongs to another user, or something in it does, and cannot be moved aside: ");
  ExpectRecovery();
}

TEST_F(FailingLogFolder, CannotBeCreatedBecauseDiskIsFull) {
  createDirectory.AnswerCall(1, [](auto, auto) {
    ::SetLastError(ERROR_DISK_FULL);
    return FALSE;
  });
  ExpectFailure(Prepare(), "cannot be created: ");
  ExpectRecovery();
}

TEST_F(FailingLogFolder, HasNoDescriptor) {
  KUV_IMPORT_HOOK(owner, SetSecurityDescriptorOwner);
  owner.AnswerCall(1, [](auto, auto, auto) {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  });
  ExpectFailure(Prepare(), "cannot create the access list: ");
  EXPECT_THAT(appData.Names(), IsEmpty());
  ExpectRecovery();
}

TEST_F(FailingLogFolder, HasNoPath) {
  folderPath.Answer([](auto, auto, auto, auto, auto) { return E_FAIL; });
  const SetupRun run = Prepare();
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.err, HasSubstr("cannot find the log folder: "));
  EXPECT_EQ(run.out, "");
}

TEST_F(PrepareLogFolder, NamesMovedFolderEvenIfNewOneCannotBeCreated) {
  MakeFolder(kUsersFolder);
  createDirectory.Answer([](auto, auto) {
    ::SetLastError(ERROR_DISK_FULL);
    return FALSE;
  });
  const SetupRun run = Prepare();
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.out, Moved(1));
  EXPECT_THAT(run.err, HasSubstr("cannot be created: "));
  EXPECT_THAT(appData.Names(), ElementsAre(L"Kuvant.old-1"));
  EXPECT_THAT(run.out, Not(HasSubstr("nothing to change")));
}

}  // namespace
