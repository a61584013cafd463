#include "FilterCheck/Machine/HostReader.h"

#include <gmock/gmock.h>

#include "Tools/FilterCheck/RegisteredMachine.h"

namespace {

using FilterCheck::Host;
using FilterCheck::ReadHost;
using FilterCheck::Registration;

LONG WINAPI AnswerVersion(OSVERSIONINFOW* version) {
  EXPECT_EQ(version->dwOSVersionInfoSize, sizeof(OSVERSIONINFOW));
  version->dwMajorVersion = 10;
  version->dwMinorVersion = 0;
  version->dwBuildNumber = 19045;
  return 0;
}

class HostReader : public KuvTest::SettingsFixture {
 protected:
  HostReader() : functions("GetProcAddress") {
    functions.Answer([this](HMODULE module, LPCSTR name) -> FARPROC {
      if (std::string_view{name} != "RtlGetVersion") return functions.Original(module, name);
      return reinterpret_cast<FARPROC>(version);
    });
  }

  void* version = reinterpret_cast<void*>(&AnswerVersion);
  KuvTest::ImportHook<decltype(&::GetProcAddress)> functions;
  const KuvTest::TestKey windows{HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion"};
};

TEST_F(HostReader, ReadsVersions) {
  Registration registration{};
  registration.filter[0].version = "1.2.3.4";
  EXPECT_EQ(ReadHost(registration).filterVersion, "1.2.3.4");
  EXPECT_EQ(ReadHost(registration).toolVersion, FilterCheck::ToolVersion());
  EXPECT_EQ(ReadHost(registration).windowsVersion, "10.0.19045");
  windows.SetDword(L"UBR", 3086);
  EXPECT_EQ(ReadHost(registration).windowsVersion, "10.0.19045.3086");
  windows.SetText(L"UBR", L"3086");
  EXPECT_EQ(ReadHost(registration).windowsVersion, "10.0.19045");
  version = nullptr;
  EXPECT_EQ(ReadHost(registration).windowsVersion, "");
}

TEST_F(HostReader, ReadsNativeArchitecture) {
  const std::pair<std::uint16_t, const char*> rows[] = {
      {KuvTest::kX64, "x64"}, {KuvTest::kArm64, "ARM64"}, {KuvTest::kX86, "x86"}, {0x1C4, "0x01C4"}};
  for (const auto& [machine, name] : rows) {
    const KuvTest::NativeMachine native{machine};
    EXPECT_EQ(ReadHost({}).architecture, name);
  }
}

// Versions of Windows before 1511 of Windows 10.
TEST_F(HostReader, ReadsArchitectureWithoutIsWow64Process2) {
  functions.Answer([](HMODULE, LPCSTR) { return FARPROC{nullptr}; });
  KUV_IMPORT_HOOK(system, GetNativeSystemInfo);
  const std::pair<WORD, const char*> rows[] = {{WORD{PROCESSOR_ARCHITECTURE_AMD64}, "x64"},
                                               {WORD{PROCESSOR_ARCHITECTURE_INTEL}, "x86"}};
  for (const auto& [architecture, name] : rows) {
    system.Answer([number = architecture](LPSYSTEM_INFO info) { info->wProcessorArchitecture = number; });
    EXPECT_EQ(ReadHost({}).architecture, name);
  }
}

TEST_F(HostReader, ReadsElevation) {
  KUV_IMPORT_HOOK(query, GetTokenInformation);
  for (const DWORD elevated : {0u, 1u}) {
    query.Answer([&](HANDLE token, TOKEN_INFORMATION_CLASS kind, LPVOID data, DWORD size, PDWORD needed) {
      if (kind != TokenElevation) return query.Original(token, kind, data, size, needed);
      EXPECT_EQ(size, sizeof(TOKEN_ELEVATION));
      static_cast<TOKEN_ELEVATION*>(data)->TokenIsElevated = elevated;
      return TRUE;
    });
    EXPECT_EQ(ReadHost({}).elevated, elevated != 0);
  }
  query.Answer([](HANDLE, TOKEN_INFORMATION_CLASS, LPVOID data, DWORD, PDWORD) {
    static_cast<TOKEN_ELEVATION*>(data)->TokenIsElevated = 1;
    return FALSE;
  });
  EXPECT_FALSE(ReadHost({}).elevated);
  KUV_IMPORT_HOOK(open, OpenProcessToken);
  open.Answer([](auto...) { return FALSE; });
  EXPECT_FALSE(ReadHost({}).elevated);
}

TEST_F(HostReader, ReadsSafeMode) {
  KUV_IMPORT_HOOK(metrics, GetSystemMetrics);
  const std::pair<int, const char*> rows[] = {{0, "off"}, {1, "on"}, {2, "on, with network"}};
  for (const auto& [clean, text] : rows) {
    metrics.Answer([number = clean](int index) { return index == SM_CLEANBOOT ? number : -1; });
    EXPECT_EQ(ReadHost({}).safeMode, text);
  }
}

TEST_F(HostReader, ReadsMachineName) {
  KUV_IMPORT_HOOK(computer, GetComputerNameExW);
  computer.Answer([](COMPUTER_NAME_FORMAT format, LPWSTR name, LPDWORD size) {
    EXPECT_EQ(format, ComputerNameDnsHostname);
    *size = 5;
    name[0] = L'P';
    name[1] = L'\x1B';
    name[2] = L'\0';
    return TRUE;
  });
  EXPECT_EQ(ReadHost({}).name, "P?");
  computer.Answer([](auto...) { return FALSE; });
  EXPECT_EQ(ReadHost({}).name, "this machine");
}

}  // namespace
