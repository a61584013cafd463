#include <algorithm>
#include <sstream>

#include <gmock/gmock.h>
#include <json/json.h>

#include "FilterCheck/FilterCheck.h"
#include "FilterCheck/Output/NewFile.h"
#include "Tools/FilterCheck/RegisteredMachine.h"

namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

struct CheckRun {
  int exitCode;
  std::string out;
  std::string err;
};

// The verdict on a machine without findings, on which elevation prompts are not protected.
constexpr char kVerdict[] =
    "The second factor is required at the console and over Remote Desktop. It is NOT required at elevation "
    "prompts: ElevationProtectionMode is 0 (default). No warnings or problems found.\n";

CheckRun RunCheck(const std::vector<std::wstring>& arguments, bool isConsole = false) {
  std::ostringstream out;
  std::ostringstream err;
  const int exitCode = FilterCheck::RunFilterCheck(arguments, out, err, isConsole);
  return {exitCode, out.str(), err.str()};
}

class FilterCheckRun : public KuvTest::RegisteredMachine {
 protected:
  FilterCheckRun() { ::SetEnvironmentVariableW(L"NO_COLOR", nullptr); }

  // Expects exit code 3, no output, and one line with an error that starts and ends with these texts.
  static void ExpectFailure(const std::vector<std::wstring>& arguments, const std::string& start,
                            const std::string& end) {
    const CheckRun run = RunCheck(arguments);
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, AllOf(StartsWith("KuvFilterCheck: " + start), EndsWith(end + "\n")));
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
  }
};

TEST_F(FilterCheckRun, ReturnsZeroWithoutFindings) {
  const CheckRun run = RunCheck({});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(run.out, StartsWith("Kuv filter check of "));
  EXPECT_THAT(run.out, HasSubstr("\nFindings\n\n  Note  "));
  EXPECT_THAT(run.out, EndsWith(kVerdict));
}

TEST_F(FilterCheckRun, ReturnsOneForWarnings) {
  Server(KuvTest::kView64).SetText(L"ThreadingModel", L"Free");
  EXPECT_EQ(RunCheck({}).exitCode, 1);
  Server(KuvTest::kView64).SetText(L"ThreadingModel", L"Apartment");
  registry.Local().SetDword(L"WrapSmartCards", 1);
  EXPECT_EQ(RunCheck({}).exitCode, 1);
}

TEST_F(FilterCheckRun, ReturnsTwoIfSecondFactorIsNotRequired) {
  registry.Local().DeleteValue(L"SKey");
  const CheckRun run = RunCheck({});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.out,
              EndsWith("SKey is not set (default). Not covered as demanded: console and remote. Found 1 "
                       "problem.\n"));
}

TEST_F(FilterCheckRun, ReturnsTwoForLockout) {
  ProviderKey(KuvTest::kKuvText).Delete();
  ProviderKey(KuvTest::kKuvSmartCardText).SetText(L"", L"Kuv smart card");
  const CheckRun run = RunCheck({});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.out, HasSubstr("NO ONE CAN SIGN IN at the console and over Remote Desktop: the Kuv"));
  // With a whitelisted provider, users can sign in without the second factor.
  const CheckRun whatIf =
      RunCheck({L"--what-if", L"ProvidersWhitelist={60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}"});
  EXPECT_EQ(whatIf.exitCode, 2);
  EXPECT_THAT(whatIf.out, HasSubstr("It is NOT ASKED FOR at the console and over Remote Desktop"));
}

TEST_F(FilterCheckRun, ReturnsTwoForExcludedProvider) {
  KuvTest::TestKey{HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Policies\\System"}
      .SetText(L"ExcludedCredentialProviders", KuvTest::kKuvText);
  const CheckRun run = RunCheck({});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.out, HasSubstr("\nThe second factor is treated as NOT required: the policy setting "
                                 "ExcludedCredentialProviders may hide the Kuv credential provider. "));
}

TEST_F(FilterCheckRun, ReturnsTwoForUnregisteredFilter) {
  Entry(KuvTest::kView64).Delete();
  EXPECT_EQ(RunCheck({}).exitCode, 2);
}

TEST_F(FilterCheckRun, ReturnsThreeForErrors) {
  ExpectFailure({L"--bogus"}, "unknown option '--bogus'; see --help", "unknown option '--bogus'; see --help");
  ExpectFailure({L"--what-if", L"RdpOnly=yes"}, "RdpOnly requires a 32-bit number", "");
  ExpectFailure({L"--what-if", L"Policy:RdpOnly="}, "RdpOnly requires a 32-bit number", "");
  ExpectFailure({L"--what-if", L"Local:Bogus=1"}, "--what-if: unknown setting 'Local:Bogus'", "");
  ExpectFailure({L"--require", L"rdp"},
                "--require requires a list of console, remote and elevation, not 'rdp'", "");
  ExpectFailure({L"--json", L"--html", folder.Path(L"none\\page.html")}, "cannot write '", " (error 3)");
  KUV_IMPORT_HOOK(open, RegOpenKeyExW);
  open.Answer([](HKEY, LPCWSTR, DWORD, REGSAM, PHKEY) { return LSTATUS{ERROR_ACCESS_DENIED}; });
  ExpectFailure({}, "cannot ", " (error 5)");
}

TEST_F(FilterCheckRun, ShowsHelpWithoutReadingTheRegistry) {
  KUV_IMPORT_HOOK(open, RegOpenKeyExW);
  const CheckRun run = RunCheck({L"--help"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out, HasSubstr("KuvFilterCheck [option...]"));
  EXPECT_EQ(open.CallCount(), 0u);
}

TEST_F(FilterCheckRun, ReturnsExitCodeOfWhatIfSituation) {
  EXPECT_EQ(RunCheck({L"--what-if", L"IKey="}).exitCode, 2);
  registry.Local().DeleteValue(L"IKey");
  EXPECT_EQ(RunCheck({}).exitCode, 2);
  const CheckRun run = RunCheck({L"--what-if", L"IKey=NEW"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out, HasSubstr("\nToday: The second factor is NOT required at the console"));
  EXPECT_THAT(run.out, EndsWith("With these assumptions: " + std::string{kVerdict}));
}

// Compares the what-if situation with the one after writing the values.
TEST_F(FilterCheckRun, WhatIfMatchesTheResultOfWriting) {
  const auto situation = [](const std::string& text, const char* name) {
    Json::Value value;
    std::istringstream in{text};
    in >> value;
    return value[name];
  };
  const Json::Value whatIf = situation(
      RunCheck({L"--json", L"--what-if", L"RdpOnly=1", L"--what-if", L"EnableSmartCards=1"}).out, "assumed");
  registry.Local().SetDword(L"RdpOnly", 1);
  registry.Local().SetDword(L"EnableSmartCards", 1);
  const Json::Value written = situation(RunCheck({L"--json"}).out, "now");
  ASSERT_FALSE(written["decisions"].empty());
  EXPECT_EQ(whatIf, written);
}

TEST_F(FilterCheckRun, ChecksDefaultProviderAgainstWhatIfDecision) {
  KuvTest::TestKey{HKEY_LOCAL_MACHINE, L"SOFTWARE\\Policies\\Microsoft\\Windows\\System"}.SetText(
      L"DefaultCredentialProvider", KuvTest::kPasswordText);
  const CheckRun run = RunCheck({L"--what-if", L"ElevationProtectionMode=1"});
  EXPECT_THAT(run.out, HasSubstr("  Warning DISAPPEARS  DefaultCredentialProvider  "
                                 "[platform.default-provider-hidden]\n"));
}

TEST_F(FilterCheckRun, DoesNotShowSecret) {
  const std::wstring page = folder.Path(L"page.html");
  for (const std::vector<std::wstring>& arguments : {std::vector<std::wstring>{L"--html", page},
                                                     {L"--json"},
                                                     {L"--what-if", L"SKey=typed-secret"},
                                                     {L"--json", L"--what-if", L"SKey=typed-secret"}}) {
    const CheckRun run = RunCheck(arguments);
    EXPECT_THAT(run.out + run.err, Not(HasSubstr("sample-secret")));
    EXPECT_THAT(run.out + run.err, Not(HasSubstr("typed-secret")));
  }
  EXPECT_THAT(KuvTest::ReadFileBytes(page), Not(HasSubstr("sample-secret")));
}

TEST_F(FilterCheckRun, UsesColorsOnConsoleUnlessTurnedOff) {
  EXPECT_THAT(RunCheck({}, /*isConsole=*/true).out, HasSubstr("\x1B["));
  EXPECT_THAT(RunCheck({}, /*isConsole=*/false).out, Not(HasSubstr("\x1B[")));
  EXPECT_THAT(RunCheck({L"--no-color"}, /*isConsole=*/true).out, Not(HasSubstr("\x1B[")));
  ::SetEnvironmentVariableW(L"NO_COLOR", L"1");
  EXPECT_THAT(RunCheck({}, /*isConsole=*/true).out, Not(HasSubstr("\x1B[")));
}

TEST_F(FilterCheckRun, WritesPageInAdditionToTable) {
  const std::wstring page = folder.Path(L"page.html");
  const CheckRun run = RunCheck({L"--html", page});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out, StartsWith("Kuv filter check of "));
  EXPECT_THAT(KuvTest::ReadFileBytes(page), StartsWith("<!DOCTYPE html>\n"));
}

TEST_F(FilterCheckRun, DoesNotOverwritePage) {
  const std::wstring page = folder.Path(L"page.html");
  KuvTest::WriteFileBytes(page, "mine");
  ExpectFailure({L"--html", page}, "cannot write '", " (error 80)");
  EXPECT_THAT(RunCheck({L"--html", page}).err, HasSubstr("page.html': "));
  EXPECT_EQ(KuvTest::ReadFileBytes(page), "mine");
}

TEST_F(FilterCheckRun, WritesNothingToMachineKeysOrLog) {
  const std::string before = KuvTest::Snapshot();
  RunCheck({});
  RunCheck({L"--json", L"--what-if", L"RdpOnly=1"});
  EXPECT_EQ(KuvTest::Snapshot(), before);
  EXPECT_THAT(appData.Names(), IsEmpty());
}

TEST(WriteNewFile, DeletesIncompleteFile) {
  const KuvTest::TempFolder folder;
  const std::wstring path = folder.Path(L"page.html");
  for (const bool fails : {false, true}) {
    SCOPED_TRACE(fails);
    KUV_IMPORT_HOOK(write, WriteFile);
    write.Answer([&](HANDLE, LPCVOID, DWORD, LPDWORD written, LPOVERLAPPED) {
      *written = 2;
      ::SetLastError(ERROR_WRITE_FAULT);
      return fails ? FALSE : TRUE;
    });
    try {
      FilterCheck::WriteNewFile(path, "bytes");
      FAIL() << "nothing was thrown";
    } catch (const std::exception& error) {
      EXPECT_THAT(error.what(), HasSubstr(fails ? "(error 29)" : "(error 112)"));
    }
    EXPECT_THAT(folder.Names(), IsEmpty());
  }
}

}  // namespace
