#include <windows.h>
#include <aclapi.h>

#include <optional>
#include <sstream>

#include <gmock/gmock.h>

#include "Common/LogPath.h"
#include "FilterHost/LogTail.h"
#include "Tools/FilterHost/HostFixture.h"

namespace {

using FilterHost::LogTail;
using KuvTest::HostRun;
using KuvTest::kForeignText;
using KuvTest::kPasswordText;
using KuvTest::RunHost;
using KuvTest::RunHostJson;

using Lines = std::vector<std::string>;

TEST(LogTail, ReturnsAddedLines) {
  const std::string line(10'000, 'x');
  struct {
    const char* name;
    std::optional<std::string> before;
    std::optional<std::string> after;
    Lines added;
  } const rows[] = {
      {"longer file",
       "old\r\n",
       "old\r\nnew \xC3\x84\r\n\r\nbare\nlast",
       {"new \xC3\x84", "", "bare", "last"}},
      {"same file", "old\r\n", {}, {}},
      {"new file", {}, "one\r\ntwo\r\n", {"one", "two"}},
      {"shorter file", "a line of the old file\r\n", "one\r\ntwo\r\n", {"one", "two"}},
      {"more than one block", {}, line + "\r\n" + line + "\r\n", {line, line}},
      {"no file", {}, {}, {}},
  };
  for (const auto& row : rows) {
    const KuvTest::TestFolder folder;
    if (row.before) folder.Write(L"a.log", *row.before);
    const LogTail tail{folder.Path(L"a.log")};
    if (row.after) folder.Write(L"a.log", *row.after);
    EXPECT_EQ(tail.AddedLines(), row.added) << row.name;
    EXPECT_EQ(LogTail{folder.Path(L"none\\none.log")}.AddedLines(), Lines{});
  }
}

class FilterHostLog : public KuvTest::FilterHostFixture {
 protected:
  FilterHostLog() : protect(dll.Get(), "SetNamedSecurityInfoW") {
    // The test must be able to read the folder.
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

  // Returns the level and message of the lines after the heading.
  static Lines Messages(const std::string& out) {
    const std::string heading =
        "\nLog of this run: each scenario as shown above, then again with the opposite flags\n\n";
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

TEST_F(FilterHostLog, FollowsTheTable) {
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

TEST_F(FilterHostLog, IsOffByDefault) {
  EXPECT_THAT(Run({}).out, ::testing::Not(::testing::HasSubstr("[Info]")));
  EXPECT_FALSE(RunHostJson(WithDll({L"--providers", providers})).isMember("log"));
}

// The scenarios as shown, the remote credential, then the scenarios with the opposite flags.
TEST_F(FilterHostLog, StartsWithTheShownResults) {
  registry.Local().SetDword(L"Debug", 1);
  const Lines lines = Messages(
      Run({L"--log", L"--scenario", L"unlock", L"--scenario", L"plap", L"--remote-credential", kPasswordText})
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

TEST_F(FilterHostLog, IsInTheJson) {
  const Json::Value log =
      RunHostJson(WithDll({L"--providers", providers, L"--log", L"--scenario", L"plap"}))["log"];
  ASSERT_EQ(log.size(), 4u);
  EXPECT_THAT(log[0].asString(), ::testing::EndsWith(" [Info] Host: auth.kuv.example"));
  EXPECT_THAT(log[3].asString(), ::testing::EndsWith(" [Info] Disabling Kuv Credential Provider"));
}

TEST_F(FilterHostLog, ContainsWholeNewFileAfterRotation) {
  registry.Local().SetDword(L"LogFileMaxSizeMB", 1);
  registry.Local().SetDword(L"LogFileMaxCount", 1);
  WriteLog(std::string(1024 * 1024, 'x'));
  EXPECT_EQ(Messages(Run({L"--log", L"--scenario", L"plap"}).out),
            (Lines{"[Info] Host: auth.kuv.example", "[Info] IKey: SAMPLE",
                   "[Info] Disabling Kuv Credential Provider", "[Info] Disabling Kuv Credential Provider"}));
}

TEST_F(FilterHostLog, ReportsMissingLines) {
  KuvTest::ImportHook<decltype(&::CreateFileW)> create{dll.Get(), "CreateFileW"};
  create.Answer([](LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE) {
    return INVALID_HANDLE_VALUE;
  });
  EXPECT_THAT(Run({L"--log"}).out, ::testing::EndsWith("opposite flags\n\n(no lines)\n"));
}

TEST_F(FilterHostLog, FailsAfterTheTableIfUnreadable) {
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
  EXPECT_THAT(run.out, ::testing::HasSubstr("\nFilter result "));
  EXPECT_THAT(run.err, ::testing::MatchesRegex("KuvFilterHost: cannot read '.*kuv\\.log': .*error 5.*\n"));
}

TEST_F(FilterHostLog, FailsWithoutApplicationDataFolder) {
  hostFolder.Answer([](HWND, int, HANDLE, DWORD, LPWSTR) { return E_FAIL; });
  const HostRun run = Run({L"--log"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.err,
              ::testing::MatchesRegex("KuvFilterHost: cannot find the log folder: .*0x80004005.*\n"));
}

TEST_F(FilterHostLog, IsInCommonApplicationData) {
  EXPECT_EQ(Tools::FilterLogPath(), folder.Path(L"Kuvant\\kuv.log"));
  EXPECT_EQ(std::get<1>(hostFolder.Calls().at(0)), 0x23);
}

}  // namespace
