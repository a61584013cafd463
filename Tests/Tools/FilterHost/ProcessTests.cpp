#include <windows.h>

#include <sstream>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <json/json.h>

#include "KuvAuth/Support/UniqueResource.h"
#include "Support/FilterModule.h"
#include "Support/Wine.h"
#include "Tools/FilterHost/HostFiles.h"

namespace {

using KuvTest::FilterDllPath;
using KuvTest::FilterHostPath;
using KuvTest::ReadFileBytes;
using KuvTest::TestFolder;

struct ProcessRun {
  DWORD exitCode = 0;
  std::string out;
  std::string err;
};

struct HandleTraits {
  using Value = HANDLE;
  static Value None() noexcept { return nullptr; }
  static void Close(Value handle) noexcept { ::CloseHandle(handle); }
};
using UniqueHandle = Kuv::UniqueResource<HandleTraits>;

Kuv::UniqueFile CreateOutput(const std::wstring& path) {
  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  Kuv::UniqueFile file{
      ::CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited, CREATE_NEW, 0, nullptr)};
  if (!file) throw std::runtime_error{"no file for the output"};
  return file;
}

DWORD WaitForProcess(std::wstring commandLine, HANDLE out, HANDLE err) {
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = out;
  startup.hStdError = err;
  PROCESS_INFORMATION started{};
  if (::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, /*bInheritHandles=*/TRUE, 0, nullptr,
                       nullptr, &startup, &started) == FALSE) {
    throw std::runtime_error{"CreateProcessW failed with " + std::to_string(::GetLastError())};
  }
  const UniqueHandle process{started.hProcess};
  const UniqueHandle thread{started.hThread};
  ::WaitForSingleObject(process.Get(), INFINITE);
  DWORD exitCode = 0;
  if (::GetExitCodeProcess(process.Get(), &exitCode) == FALSE) throw std::runtime_error{"no exit code"};
  return exitCode;
}

// Each run has its own files: the console process keeps inherited files open for a while.
ProcessRun RunProcess(const TestFolder& folder, const std::wstring& commandLine) {
  static int number = 0;
  const std::wstring path = folder.Path(L"") + std::to_wstring(++number);
  ProcessRun run;
  run.exitCode =
      WaitForProcess(commandLine, CreateOutput(path + L".out").Get(), CreateOutput(path + L".err").Get());
  run.out = ReadFileBytes(path + L".out");
  run.err = ReadFileBytes(path + L".err");
  return run;
}

// End to end: registers the DLL, creates the filter through COM, and unregisters the DLL. The result of this
// scenario does not depend on the settings of the prefix.
TEST(FilterHostProcess, CreatesRegisteredFilterOnly) {
  if (!KuvTest::MayChangeTheMachine()) {
    GTEST_SKIP() << "registers the filter with this machine's logon; KUV_DISPOSABLE_MACHINE=1 allows it";
  }
  const TestFolder folder;
  const std::wstring providers = folder.Write(L"p.txt",
                                              "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD} Pass\xC3\xA4\n"
                                              "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418} Kuv\n");
  const std::wstring host =
      L"\"" + FilterHostPath() + L"\" --scenario plap --providers \"" + providers + L"\"";
  const std::wstring dll = L" \"" + FilterDllPath() + L"\"";

  ASSERT_EQ(RunProcess(folder, L"regsvr32.exe /s" + dll).exitCode, 0u);
  const ProcessRun table = RunProcess(folder, host);
  const ProcessRun json = RunProcess(folder, host + L" --json --log");
  ASSERT_EQ(RunProcess(folder, L"regsvr32.exe /s /u" + dll).exitCode, 0u);
  const ProcessRun missing = RunProcess(folder, host);

  const std::wstring widePath = FilterDllPath();
  const std::string path{widePath.begin(), widePath.end()};
  EXPECT_EQ(table.exitCode, 0u);
  EXPECT_EQ(table.err, "");
  EXPECT_EQ(table.out, "Filter " + path +
                           ", every provider passed as allowed\n\n"
                           "Provider       plap     Identifier\n"
                           "Pass\xC3\xA4          ENABLED  {60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}\n"
                           "Kuv            -        {5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}\n"
                           "\n"
                           "Flags          0x0\n"
                           "Filter result  written\n");

  EXPECT_EQ(json.exitCode, 0u);
  Json::Value report;
  std::istringstream text{json.out};
  text >> report;
  EXPECT_EQ(report["filter"], path);
  ASSERT_GE(report["log"].size(), 2u);
  EXPECT_THAT(json.out, ::testing::HasSubstr("[Info] Disabling Kuv Credential Provider\""));

  EXPECT_EQ(missing.exitCode, 6u);
  EXPECT_EQ(missing.out, "");
  EXPECT_THAT(missing.err,
              ::testing::StartsWith("KuvFilterHost: the filter {3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4} "
                                    "is not registered; run regsvr32 KuvCredFilter.dll to register it"));
}

TEST(FilterHostProcess, ReturnsExitCode) {
  const TestFolder folder;
  const ProcessRun run = RunProcess(folder, L"\"" + FilterHostPath() + L"\" --bogus");
  EXPECT_EQ(run.exitCode, 2u);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "KuvFilterHost: unknown option '--bogus'; see --help\n");
}

}  // namespace
