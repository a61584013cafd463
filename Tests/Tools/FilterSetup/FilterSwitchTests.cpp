// The commands "disable" and "enable".
#include <windows.h>

#include <algorithm>
#include <cwchar>
#include <functional>

#include <gmock/gmock.h>

#include "KuvAuth/Support/Text.h"
#include "Support/LogCapture.h"
#include "Support/RecordedEvents.h"
#include "Tools/FilterSetup/SetupFixture.h"

namespace {

using namespace KuvTest;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char kEntry64[] =
    "HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Provider Filters\\"
    "{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}";
constexpr char kEntry32[] =
    "HKLM\\SOFTWARE\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Provider "
    "Filters\\{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}";
constexpr wchar_t kClass[] = L"{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}\\InprocServer32";

TestKey KeyOf(const std::string& name) {
  return {HKEY_LOCAL_MACHINE, Utf8ToWide(name.substr(5))};
}

class FilterSwitch : public SetupFixture, protected EventRecorder {
 protected:
  FilterSwitch() : lookup("LookupAccountSidW") {
    // Wine finds no names while the registry is redirected.
    lookup.Answer([](auto, PSID, wchar_t* name, DWORD* nameUnits, wchar_t* domain, DWORD* domainUnits, auto) {
      EXPECT_EQ(*nameUnits, 257u);
      EXPECT_EQ(*domainUnits, 257u);
      std::wcscpy(name, L"admin");
      std::wcscpy(domain, L"DOMAIN");
      return TRUE;
    });
    Register(L"SOFTWARE\\Classes\\CLSID\\");
    Register(L"SOFTWARE\\Classes\\WOW6432Node\\CLSID\\");
  }

  static void Register(const std::wstring& classes) {
    TestKey{HKEY_LOCAL_MACHINE, classes + kClass}.SetText(L"", L"C:\\Kuv\\KuvCredFilter.dll");
  }
  static void EnableBoth() {
    KeyOf(kEntry64).SetText(L"", L"KuvCredFilter");
    KeyOf(kEntry32).SetText(L"", L"KuvCredFilter");
  }
  static void ExpectEnabled(bool in64, bool in32) {
    EXPECT_EQ(KeyOf(kEntry64).Exists(), in64);
    EXPECT_EQ(KeyOf(kEntry32).Exists(), in32);
  }

  // The settings and providers with which the filter hides every provider at the console.
  void LockOut() const {
    ProviderKey(kKuvText).Delete();
    ProviderKey(kKuvSmartCardText).SetText(L"", L"Kuv smart card");
  }

  // Fails if the log has more than one line: the name of the user must not be in it.
  LogLine OnlyLogLine() const {
    const std::string log = ReadFileBytes(InFolder(L"kuv.log"));
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1);
    return ParseLogLine(Utf8ToWide(log));
  }

  ImportHook<decltype(&::LookupAccountSidW)> lookup;
};

TEST_F(FilterSwitch, DisablesFilterInBothViewsAndRecordsIt) {
  EnableBoth();
  const SetupRun run = RunSetup({L"disable"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, std::string{kEntry64} + ": deleted\n" + kEntry32 + ": deleted\n");
  EXPECT_EQ(run.err, "");
  ExpectEnabled(false, false);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].type, 2);  // a warning
  EXPECT_EQ(events[0].identifier, 0xC0020000u);
  EXPECT_THAT(events[0].text, StartsWith("KuvFilterSetup disabled the filter. User: "));
  EXPECT_THAT(events[0].text, EndsWith(" User: DOMAIN\\admin"));
  EXPECT_EQ(OnlyLogLine(), (LogLine{LogLevel::Warning, "KuvFilterSetup disabled the filter"}));
}

TEST_F(FilterSwitch, EnablesFilterAsRegistrationDoesAndRecordsIt) {
  const SetupRun run = RunSetup({L"enable"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, std::string{kEntry64} + ": created\n" + kEntry32 + ": created\n");
  EXPECT_EQ(run.err, "");
  for (const char* const name : {kEntry64, kEntry32}) {
    DWORD type = REG_NONE;
    const std::vector<std::uint8_t> bytes = KeyOf(name).GetBytes(L"", type);
    EXPECT_EQ(type, DWORD{REG_SZ});
    EXPECT_EQ(bytes.size(), 28u);
    EXPECT_STREQ(reinterpret_cast<const wchar_t*>(bytes.data()), L"KuvCredFilter");
  }
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].type, 4);  // information
  EXPECT_THAT(events[0].text, StartsWith("KuvFilterSetup enabled the filter. User: "));
  EXPECT_EQ(OnlyLogLine(), (LogLine{LogLevel::Info, "KuvFilterSetup enabled the filter"}));
}

TEST_F(FilterSwitch, ChangesAndRecordsNothingASecondTime) {
  for (const wchar_t* const command : {L"disable", L"enable"}) {
    RunSetup({command});
    const std::string before = Snapshot();
    events.clear();
    const SetupRun run = RunSetup({command});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, "nothing to change\n");
    EXPECT_EQ(Snapshot(), before);
    EXPECT_THAT(events, IsEmpty());
  }
}

TEST_F(FilterSwitch, DisablesAndEnablesOneView) {
  KeyOf(kEntry32).SetText(L"", L"KuvCredFilter");
  EXPECT_EQ(RunSetup({L"disable"}).out, std::string{kEntry32} + ": deleted\n");
  KeyOf(kEntry64).SetText(L"", L"KuvCredFilter");
  EXPECT_EQ(RunSetup({L"enable"}).out, std::string{kEntry32} + ": created\n");
}

TEST_F(FilterSwitch, DisablesEntryWithSubkeys) {
  TestKey{HKEY_LOCAL_MACHINE, Utf8ToWide(kEntry64 + 5) + L"\\Sub\\Sub"}.Create();
  EXPECT_EQ(RunSetup({L"disable"}).exitCode, 0);
  ExpectEnabled(false, false);
}

TEST_F(FilterSwitch, DisablesFilterWhoseClassIsGone) {
  EnableBoth();
  TestKey{HKEY_LOCAL_MACHINE, L"SOFTWARE\\Classes"}.Delete();
  EXPECT_EQ(RunSetup({L"disable"}).exitCode, 0);
  ExpectEnabled(false, false);
}

TEST_F(FilterSwitch, DoesNotTouchOtherFilters) {
  EnableBoth();
  const TestKey other{HKEY_LOCAL_MACHINE,
                      L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Provider "
                      L"Filters\\" +
                          kForeignText};
  other.Create();
  RunSetup({L"disable"});
  EXPECT_TRUE(other.Exists());
}

TEST_F(FilterSwitch, EnablesOnlyWhereClassIsRegistered) {
  TestKey{HKEY_LOCAL_MACHINE, L"SOFTWARE\\Classes\\WOW6432Node"}.Delete();
  EXPECT_EQ(RunSetup({L"enable"}).out, std::string{kEntry64} + ": created\n");
  ExpectEnabled(true, false);
  Register(L"SOFTWARE\\WOW6432Node\\Classes\\CLSID\\");
  EXPECT_EQ(RunSetup({L"enable"}).out, std::string{kEntry32} + ": created\n");
}

TEST_F(FilterSwitch, CannotEnableWithoutClass) {
  const TestKey classes{HKEY_LOCAL_MACHINE, L"SOFTWARE\\Classes"};
  const TestKey server{HKEY_LOCAL_MACHINE, std::wstring{L"SOFTWARE\\Classes\\CLSID\\"} + kClass};
  const std::vector<std::function<void()>> rows{
      [&] { classes.Delete(); },
      [&] { server.Create(); },           // no module
      [&] { server.SetText(L"", L""); },  // an empty one
      [&] { server.SetDword(L"", 1); },
  };
  for (const auto& row : rows) {
    row();
    const SetupRun run = RunSetup({L"enable"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(
        run.err,
        "KuvFilterSetup: the filter: cannot be enabled, because its class is not registered; install it\n");
    ExpectEnabled(false, false);
  }
  EXPECT_THAT(events, IsEmpty());
}

TEST_F(FilterSwitch, RefusesToLockEveryoneOut) {
  LockOut();
  const std::string before = Snapshot();
  for (const std::vector<std::wstring>& arguments :
       {std::vector<std::wstring>{L"enable"}, {L"enable", L"--dry-run"}}) {
    const SetupRun run = RunSetup(arguments);
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(
        run.err,
        "KuvFilterSetup: the filter was not enabled: console would be locked and remote would be locked; "
        "run KuvFilterCheck for the reason, or use --force\n");
  }
  EXPECT_EQ(Snapshot(), before);
  EXPECT_THAT(events, IsEmpty());
  EXPECT_THAT(appData.Names(), IsEmpty());
}

TEST_F(FilterSwitch, RefusesToHideTheSecondFactor) {
  LockOut();
  registry.Local().SetTexts(L"ProvidersWhitelist", {kPasswordText});
  const SetupRun run = RunSetup({L"enable", L"--require", L"remote"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.err, HasSubstr("not enabled: remote would have no-second-factor; run"));
  ExpectEnabled(false, false);
}

TEST_F(FilterSwitch, RefusesOnlyForDemandedKinds) {
  LockOut();
  registry.Local().SetDword(L"RdpOnly", 1);
  registry.Local().SetDword(L"ElevationProtectionMode", 0);
  EXPECT_EQ(RunSetup({L"enable", L"--require", L"remote"}).exitCode, 2);
  EXPECT_EQ(RunSetup({L"enable"}).exitCode, 2);
  EXPECT_EQ(RunSetup({L"enable", L"--require", L"console,elevation"}).exitCode, 0);
  ExpectEnabled(true, true);
}

// "off" is accepted: at worst users sign in as before.
TEST_F(FilterSwitch, EnablesFilterThatRequiresNothing) {
  registry.Local().DeleteValue(L"SKey");
  EXPECT_EQ(RunSetup({L"enable"}).exitCode, 0);
}

TEST_F(FilterSwitch, EnablesAnywayWithForce) {
  LockOut();
  EXPECT_EQ(RunSetup({L"enable", L"--force"}).exitCode, 0);
  ExpectEnabled(true, true);
  EXPECT_EQ(events.size(), 1u);
}

TEST_F(FilterSwitch, DoesNotRefuseWhatIsEnabled) {
  LockOut();
  EnableBoth();
  EXPECT_EQ(RunSetup({L"enable"}).out, "nothing to change\n");
}

TEST_F(FilterSwitch, NeedsForceIfMachineCannotBeExamined) {
  {
    KUV_IMPORT_HOOK(openKey, RegOpenKeyExW);
    openKey.Answer([](auto, auto, auto, auto, auto) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    const SetupRun run = RunSetup({L"enable"});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_THAT(run.err, StartsWith("KuvFilterSetup: cannot read the registry "));
  }
  ExpectEnabled(false, false);
  KUV_IMPORT_HOOK(openKey, RegOpenKeyExW);
  openKey.Answer([](auto, auto, auto, auto, auto) -> LSTATUS { return ERROR_ACCESS_DENIED; });
  EXPECT_EQ(RunSetup({L"enable", L"--force"}).exitCode, 0);
}

TEST_F(FilterSwitch, ChangesNothingInDryRun) {
  const std::string before = Snapshot();
  EXPECT_EQ(RunSetup({L"enable", L"--dry-run"}).out,
            std::string{kEntry64} + ": would be created\n" + kEntry32 + ": would be created\n");
  EXPECT_EQ(Snapshot(), before);
  EnableBoth();
  EXPECT_EQ(RunSetup({L"disable", L"--dry-run"}).out,
            std::string{kEntry64} + ": would be deleted\n" + kEntry32 + ": would be deleted\n");
  ExpectEnabled(true, true);
  EXPECT_THAT(events, IsEmpty());
  EXPECT_THAT(appData.Names(), IsEmpty());
}

TEST_F(FilterSwitch, DisablesOneViewIfTheOtherFails) {
  EnableBoth();
  {
    KUV_IMPORT_HOOK(remove, RegDeleteTreeA);
    remove.AnswerCall(1, [](auto, auto) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    const SetupRun run = RunSetup({L"disable"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.out, std::string{kEntry32} + ": deleted\n");
    EXPECT_THAT(run.err, StartsWith("KuvFilterSetup: " + std::string{kEntry64} + ": cannot be deleted: "));
    EXPECT_EQ(events.size(), 1u);
  }
  ExpectEnabled(true, false);
  EXPECT_EQ(RunSetup({L"disable"}).exitCode, 0);
  ExpectEnabled(false, false);
}

TEST_F(FilterSwitch, LeavesNoHalfEntryIfEnablingFails) {
  {
    KUV_IMPORT_HOOK(set, RegSetValueExW);
    set.Answer([](auto, auto, auto, auto, auto, auto) -> LSTATUS { return ERROR_DISK_FULL; });
    const SetupRun run = RunSetup({L"enable"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, HasSubstr(std::string{kEntry32} + ": cannot be written: "));
  }
  ExpectEnabled(false, false);
  {
    KUV_IMPORT_HOOK(create, RegCreateKeyExA);
    create.Answer(
        [](auto, auto, auto, auto, auto, auto, auto, auto, auto) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    EXPECT_THAT(RunSetup({L"enable"}).err, HasSubstr(std::string{kEntry64} + ": cannot be created: "));
  }
  EXPECT_THAT(events, IsEmpty());
  EXPECT_EQ(RunSetup({L"enable"}).exitCode, 0);
}

TEST_F(FilterSwitch, FailsIfListCannotBeRead) {
  KUV_IMPORT_HOOK(openKey, RegOpenKeyExA);
  openKey.AnswerCall(1, [](auto, auto, auto, auto, auto) -> LSTATUS { return ERROR_ACCESS_DENIED; });
  const SetupRun run = RunSetup({L"disable"});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_THAT(run.err, StartsWith("KuvFilterSetup: cannot read " + std::string{kEntry64} + ": "));
}

TEST_F(FilterSwitch, SucceedsWithoutRecordAndReportsIt) {
  EnableBoth();
  open.Answer([](auto, auto) -> HANDLE { return nullptr; });
  const SetupRun run = RunSetup({L"disable"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "KuvFilterSetup: the event cannot be written to the Windows event log\n");
  ExpectEnabled(false, false);
}

TEST_F(FilterSwitch, DoesNotWriteLogInFolderOfAnotherUser) {
  MakeFolder(kUsersFolder);
  EnableBoth();
  const SetupRun run = RunSetup({L"disable"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.err, StartsWith("KuvFilterSetup: no line was written to the log: the log folder belongs"));
  EXPECT_EQ(::GetFileAttributesW(InFolder(L"kuv.log").c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_EQ(events.size(), 1u);
}

TEST_F(FilterSwitch, DoesNotWriteLogThroughReparsePoint) {
  MakeFolder(kProtectedFolder);
  EnableBoth();
  KUV_IMPORT_HOOK(information, GetFileInformationByHandle);
  information.Answer([&](HANDLE object, BY_HANDLE_FILE_INFORMATION* result) {
    const BOOL done = information.Original(object, result);
    result->dwFileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
    return done;
  });
  EXPECT_THAT(RunSetup({L"disable"}).err, HasSubstr("no line was written to the log"));
  EXPECT_EQ(::GetFileAttributesW(InFolder(L"kuv.log").c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST_F(FilterSwitch, ReportsLogThatCannotBeOpened) {
  MakeFolder(kProtectedFolder);
  createDirectory.Original(InFolder(L"kuv.log").c_str(), nullptr);
  EnableBoth();
  const SetupRun run = RunSetup({L"disable"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "KuvFilterSetup: no line was written to the log: the file cannot be opened\n");
}

TEST_F(FilterSwitch, NamesUserByIdentifierIfNameIsUnavailable) {
  EnableBoth();
  lookup.Answer([](auto, auto, auto, auto, auto, auto, auto) { return FALSE; });
  RunSetup({L"disable"});
  ASSERT_EQ(events.size(), 1u);
  EXPECT_THAT(events[0].text, HasSubstr("User: S-1-5-"));
}

}  // namespace
