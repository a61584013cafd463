#include <windows.h>
#include <aclapi.h>

#include <sstream>

#include <gmock/gmock.h>

#include "Common/LogPath.h"
#include "FilterHost/LogTail.h"
#include "Tools/FilterHost/HostFixture.h"

namespace {

using FilterHost::LogTail;
using KuvTest::HostRun;
using KuvTest::kForeignProvider;
using KuvTest::kPasswordProvider;
using KuvTest::RunHost;
using KuvTest::RunHostJson;

using Lines = std::vector<std::string>;

TEST(LogTail, GivesTheLinesThatWereAdded) {
  const KuvTest::TestFolder folder;
  const std::wstring path = folder.Write(L"a.log", "old\r\n");
  const LogTail tail{path};
  folder.Write(L"a.log", "old\r\nnew \xC3\x84\r\n\r\nbare\nlast");
  EXPECT_EQ(tail.AddedLines(), (Lines{"new \xC3\x84", "", "bare", "last"}));
}

TEST(LogTail, GivesNoLinesOfAFileThatStays) {
  const KuvTest::TestFolder folder;
  EXPECT_EQ(LogTail{folder.Write(L"a.log", "old\r\n")}.AddedLines(), Lines{});
}

TEST(LogTail, GivesAllOfANewFile) {
  const KuvTest::TestFolder folder;
  const LogTail tail{folder.Path() + L"\\a.log"};
  folder.Write(L"a.log", "one\r\ntwo\r\n");
  EXPECT_EQ(tail.AddedLines(), (Lines{"one", "two"}));
}

TEST(LogTail, GivesAllOfAFileThatBecameShorter) {
  const KuvTest::TestFolder folder;
  const LogTail tail{folder.Write(L"a.log", "a line of the old file\r\n")};
  folder.Write(L"a.log", "one\r\ntwo\r\n");
  EXPECT_EQ(tail.AddedLines(), (Lines{"one", "two"}));
}

TEST(LogTail, GivesMoreThanOneBlock) {
  const KuvTest::TestFolder folder;
  const LogTail tail{folder.Path() + L"\\a.log"};
  const std::string line(10'000, 'x');
  folder.Write(L"a.log", line + "\r\n" + line + "\r\n");
  EXPECT_EQ(tail.AddedLines(), (Lines{line, line}));
}

TEST(LogTail, GivesNothingWithoutAFileOrFolder) {
  const KuvTest::TestFolder folder;
  EXPECT_EQ(LogTail{folder.Path() + L"\\none.log"}.AddedLines(), Lines{});
  EXPECT_EQ(LogTail{folder.Path() + L"\\none\\none.log"}.AddedLines(), Lines{});
}

class FilterHostLog : public KuvTest::FilterHostFixture {
 protected:
  FilterHostLog() : protect(dll.Get(), "SetNamedSecurityInfoW") {
    // The folder stays readable for this test, whoever runs it.
    protect.Answer([](LPWSTR, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID, PSID, PACL, PACL) {
      return DWORD{ERROR_SUCCESS};
    });
    WriteLog("before\r\n");
    providers = folder.Write(L"providers.txt", "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418} Kuv\n");
    Configure();
  }

  std::wstring WriteLog(const std::string& bytes) const { return folder.Write(L"Kuvant\\kuv.log", bytes); }

  HostRun Run(std::vector<std::wstring> arguments) const {
    arguments.insert(arguments.end(), {L"--providers", providers});
    return RunHost(WithDll(arguments));
  }

  // What stands behind the level tags of the lines below the heading.
  static Lines Messages(const std::string& out) {
    const std::string heading =
        "\nLog of this run: each scenario as shown above, then each again with the opposite flags\n\n";
    const std::size_t start = out.find(heading);
    if (start == std::string::npos) return {"no heading in " + out};
    std::istringstream text{out.substr(start + heading.size())};
    Lines messages;
    for (std::string line; std::getline(text, line);) messages.push_back(line.substr(line.find(") [") + 2));
    return messages;
  }

  KuvTest::ImportHook<decltype(&::SetNamedSecurityInfoW)> protect;
  std::wstring providers;
};

TEST_F(FilterHostLog, StandsBelowTheTable) {
  const HostRun run = Run({L"--log", L"--scenario", L"logon"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_THAT(run.out, ::testing::StartsWith("Filter "));
  EXPECT_EQ(Messages(run.out), (Lines{"[Info] Host: auth.kuv.example",                             //
                                      "[Info] IKey: SAMPLE",                                       //
                                      "[Info] Local login session",                                //
                                      "[Info] Usage scenario 1/CPUS_LOGON supported",              //
                                      "[Info] Enabling Kuv and whitelisted Credential Providers",  //
                                      "[Info] Local login session",                                //
                                      "[Info] Usage scenario 1/CPUS_LOGON supported",              //
                                      "[Info] Enabling Kuv and whitelisted Credential Providers"}));
}

TEST_F(FilterHostLog, IsNotShownUnlessAskedFor) {
  EXPECT_THAT(Run({}).out, ::testing::Not(::testing::HasSubstr("[Info]")));
  EXPECT_FALSE(RunHostJson(WithDll({L"--providers", providers})).isMember("log"));
}

// All scenarios as they are shown, the remote credential, then the opposite questions.
TEST_F(FilterHostLog, HasTheShownAnswersFirst) {
  registry.Local().SetDword(L"Debug", 1);
  const Lines lines = Messages(Run({L"--log", L"--scenario", L"unlock", L"--scenario", L"plap",
                                    L"--remote-credential", kPasswordProvider})
                                   .out);
  Lines order;
  for (const std::string& line : lines) {
    if (line.find("Filter usage scenario") != std::string::npos) order.push_back(line);
    if (line.find("UpdateRemoteCredential") != std::string::npos) order.push_back(line);
  }
  EXPECT_EQ(order,
            (Lines{"[Debug] Filter usage scenario 2/CPUS_UNLOCK_WORKSTATION, flags=0x00000000",
                   "[Debug] Filter usage scenario 5/CPUS_PLAP, flags=0x00000000",
                   "[Debug] CKuvCredFilter::UpdateRemoteCredential ulAuthenticationPackage 7 guidString "
                   "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD} cbSerialization 12",
                   "[Debug] Filter usage scenario 2/CPUS_UNLOCK_WORKSTATION, flags=0x00000000",
                   "[Debug] Filter usage scenario 5/CPUS_PLAP, flags=0x00000000"}));
}

TEST_F(FilterHostLog, StandsInTheJson) {
  const Json::Value log =
      RunHostJson(WithDll({L"--providers", providers, L"--log", L"--scenario", L"plap"}))["log"];
  ASSERT_EQ(log.size(), 4u);
  EXPECT_THAT(log[0].asString(), ::testing::EndsWith(" [Info] Host: auth.kuv.example"));
  EXPECT_THAT(log[3].asString(), ::testing::EndsWith(" [Info] Disabling Kuv Credential Provider"));
}

TEST_F(FilterHostLog, IsAllOfTheNewFileWhenTheOldOneWasRotated) {
  registry.Local().SetDword(L"LogFileMaxSizeMB", 1);
  registry.Local().SetDword(L"LogFileMaxCount", 1);
  WriteLog(std::string(1024 * 1024, 'x'));
  EXPECT_EQ(Messages(Run({L"--log", L"--scenario", L"plap"}).out),
            (Lines{"[Info] Host: auth.kuv.example", "[Info] IKey: SAMPLE",
                   "[Info] Disabling Kuv Credential Provider", "[Info] Disabling Kuv Credential Provider"}));
}

TEST_F(FilterHostLog, TellsIfThereAreNoLines) {
  KuvTest::ImportHook<decltype(&::CreateFileW)> create{dll.Get(), "CreateFileW"};
  create.Answer([](LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE) {
    return INVALID_HANDLE_VALUE;
  });
  EXPECT_THAT(Run({L"--log"}).out, ::testing::EndsWith("opposite flags\n\n(no lines)\n"));
}

TEST_F(FilterHostLog, ThatCannotBeReadEndsTheRunBelowTheTable) {
  const std::wstring path = WriteLog("");
  KUV_IMPORT_HOOK(create, CreateFileW);
  create.Answer([&](LPCWSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES attributes,
                    DWORD disposition, DWORD flags, HANDLE tmpl) {
    if (name != path) return create.Original(name, access, share, attributes, disposition, flags, tmpl);
    ::SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
  });
  const HostRun run = Run({L"--log"});
  EXPECT_EQ(run.exitCode, 4);
  EXPECT_THAT(run.out, ::testing::HasSubstr("\nFilter's answer "));
  EXPECT_THAT(run.err, ::testing::MatchesRegex("KuvFilterHost: cannot read '.*kuv\\.log': .*error 5.*\n"));
}

TEST_F(FilterHostLog, WithoutTheFolderOfThePlatformEndsTheRun) {
  hostFolder.Answer([](HWND, int, HANDLE, DWORD, LPWSTR) { return E_FAIL; });
  const HostRun run = Run({L"--log"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.err,
              ::testing::MatchesRegex("KuvFilterHost: cannot find the log folder: .*0x80004005.*\n"));
}

TEST_F(FilterHostLog, LiesInTheCommonApplicationData) {
  EXPECT_EQ(Tools::FilterLogPath(), folder.Path() + L"\\Kuvant\\kuv.log");
  EXPECT_EQ(std::get<1>(hostFolder.Calls().at(0)), 0x23);
}

}  // namespace
