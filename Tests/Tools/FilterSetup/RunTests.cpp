// The program as a whole: help, administrative rights, exit codes.
#include <windows.h>

#include <gmock/gmock.h>

#include "Tools/FilterSetup/SetupFixture.h"

namespace {

using namespace KuvTest;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class FilterSetupRun : public SetupFixture {
 protected:
  // Expects that every command ends with one line and exit code 3, and changes nothing.
  void ExpectRightsRequired() {
    MakeFolder(kUsersFolder);
    const TestKey entry{HKEY_LOCAL_MACHINE, Wide(kFilterKey)};
    entry.Create();
    const std::string before = Snapshot();
    for (const wchar_t* const command : {L"prepare", L"set-key", L"status", L"disable", L"enable"}) {
      const SetupRun run = RunSetup({command});
      EXPECT_EQ(run.exitCode, 3);
      EXPECT_EQ(run.out, "");
      EXPECT_EQ(run.err, "KuvFilterSetup: administrative rights are required; run it as an administrator\n");
    }
    EXPECT_EQ(Snapshot(), before);
    EXPECT_THAT(appData.Names(), testing::ElementsAre(L"Kuvant"));
    EXPECT_THAT(replaced, IsEmpty());
  }
};

TEST_F(FilterSetupRun, RequiresElevatedToken) {
  KUV_IMPORT_HOOK(information, GetTokenInformation);
  information.Answer([&](HANDLE token, TOKEN_INFORMATION_CLASS kind, void* data, DWORD size, DWORD* needed) {
    const BOOL done = information.Original(token, kind, data, size, needed);
    if (kind == TokenElevation) static_cast<TOKEN_ELEVATION*>(data)->TokenIsElevated = 0;
    return done;
  });
  ExpectRightsRequired();
}

TEST_F(FilterSetupRun, RequiresReadableToken) {
  KUV_IMPORT_HOOK(open, OpenProcessToken);
  open.Answer([](auto, auto, auto) { return FALSE; });
  ExpectRightsRequired();
}

TEST_F(FilterSetupRun, RequiresKnownElevation) {
  KUV_IMPORT_HOOK(information, GetTokenInformation);
  information.Answer([](auto, auto, auto, auto, auto) { return FALSE; });
  ExpectRightsRequired();
}

TEST_F(FilterSetupRun, ShowsHelpAndVersionWithoutRights) {
  KUV_IMPORT_HOOK(open, OpenProcessToken);
  const SetupRun help = RunSetup({L"--help"});
  EXPECT_EQ(help.exitCode, 0);
  EXPECT_THAT(help.out, HasSubstr("\nKuvFilterSetup COMMAND [option...]\n"));
  const SetupRun version = RunSetup({L"--version"});
  EXPECT_EQ(version.exitCode, 0);
  EXPECT_THAT(version.out, testing::MatchesRegex("KuvFilterSetup \\d+\\.\\d+\\.\\d+\\.\\d+\n"));
  EXPECT_EQ(open.CallCount(), 0u);
}

TEST_F(FilterSetupRun, ReportsWrongUsage) {
  const SetupRun run = RunSetup({L"prepare", L"--bogus"});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "KuvFilterSetup: unknown option '--bogus'; see --help\n");
}

TEST_F(FilterSetupRun, EnablesPrivilegesToRepairForeignObjects) {
  std::vector<std::string> names;
  KUV_IMPORT_HOOK(lookup, LookupPrivilegeValueA);
  KUV_IMPORT_HOOK(adjust, AdjustTokenPrivileges);
  lookup.Answer([&](const char* system, const char* name, LUID* value) {
    names.emplace_back(name);
    return lookup.Original(system, name, value);
  });
  adjust.Answer([](HANDLE, BOOL disableAll, TOKEN_PRIVILEGES* privileges, auto, auto, auto) {
    EXPECT_EQ(disableAll, FALSE);
    EXPECT_EQ(privileges->PrivilegeCount, 1u);
    EXPECT_EQ(privileges->Privileges[0].Attributes, DWORD{SE_PRIVILEGE_ENABLED});
    return FALSE;  // not held, which is not an error
  });
  EXPECT_EQ(RunSetup({L"prepare"}).exitCode, 0);
  EXPECT_EQ(names, (std::vector<std::string>{"SeBackupPrivilege", "SeRestorePrivilege",
                                             "SeTakeOwnershipPrivilege"}));
  EXPECT_EQ(adjust.CallCount(), 3u);
}

}  // namespace
