#include <gmock/gmock.h>

#include "Tools/FilterHost/HostFixture.h"

namespace {

using KuvTest::HostRun;
using KuvTest::kKuvText;
using KuvTest::RunHost;
using ::testing::MatchesRegex;

std::wstring SystemFile(const std::wstring& name) {
  wchar_t folder[MAX_PATH] = {};
  ::GetSystemDirectoryW(folder, MAX_PATH);
  return std::wstring{folder} + L"\\" + name;
}

class FilterHostFailure : public KuvTest::FilterHostFixture {
 protected:
  FilterHostFailure() { Install(kKuvText, L"Kuv"); }

  // Replaces the result of COM, which does not use the sandbox.
  static HostRun RunWithComAnswer(HRESULT result) {
    KUV_IMPORT_HOOK(create, CoCreateInstance);
    create.Answer([=](REFCLSID, LPUNKNOWN, DWORD, REFIID, LPVOID*) { return result; });
    return RunHost({});
  }

  static void RegisterFile(const std::wstring& path) {
    KuvTest::TestKey{HKEY_CLASSES_ROOT, L"CLSID\\{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}\\InprocServer32"}
        .SetText(L"", path);
  }

  static void Expect(const HostRun& run, int exitCode, const std::string& error) {
    EXPECT_EQ(run.exitCode, exitCode);
    EXPECT_THAT(run.err, MatchesRegex("KuvFilterHost: " + error + "\n"));
    EXPECT_EQ(run.out, "");
  }
};

TEST_F(FilterHostFailure, ProvidersFileIsInvalid) {
  Expect(RunHost({L"--providers", folder.Path(L"none.txt")}), 4, "cannot read '.*none.txt': .*error 2.*");
  Expect(RunHost({L"--providers", folder.Path()}), 4, "cannot read '.*': .*error 5.*");
  Expect(RunHost({L"--providers", folder.Write(L"p.txt", "\n(1)\n")}), 3,
         ".*p.txt:2: '.1.' does not start with a braced identifier");
}

TEST_F(FilterHostFailure, NoProvidersAreInstalled) {
  InstalledProviders().Delete();
  Expect(RunHost({}), 5, "no credential providers are registered in HKLM.*");
}

TEST_F(FilterHostFailure, FilterIsNotRegistered) {
  Expect(RunWithComAnswer(REGDB_E_CLASSNOTREG), 6,
         "the filter .3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4. is not registered; "
         "run regsvr32 KuvCredFilter.dll to register it: .*0x80040154.*");
}

TEST_F(FilterHostFailure, RegisteredFileIsMissing) {
  RegisterFile(folder.Path(L"gone.dll"));
  Expect(RunWithComAnswer(REGDB_E_CLASSNOTREG), 7, "cannot load '.*gone.dll': .*error 126.*");
}

TEST_F(FilterHostFailure, RegisteredFileCreatesNoFilter) {
  RegisterFile(SystemFile(L"version.dll"));
  Expect(RunWithComAnswer(CLASS_E_CLASSNOTAVAILABLE), 9,
         "cannot create the filter: CoCreateInstance: .*0x80040111.*");
}

TEST_F(FilterHostFailure, RegisteredFilterIsCreatedByIdentifier) {
  KUV_IMPORT_HOOK(create, CoCreateInstance);
  GUID clsid{};
  GUID interfaceId{};
  create.Answer([&](REFCLSID c, LPUNKNOWN, DWORD, REFIID i, LPVOID*) {
    clsid = c;
    interfaceId = i;
    return REGDB_E_CLASSNOTREG;
  });
  RunHost({});
  const GUID filter{0x3F6A1C92, 0x7E40, 0x4B1D, {0xA6, 0xC3, 0x52, 0xD9, 0xE0, 0x7B, 0x11, 0xF4}};
  const GUID filterInterface{0xA5DA53F9, 0xD475, 0x4080, {0xA1, 0x20, 0x91, 0x0C, 0x4A, 0x73, 0x98, 0x80}};
  EXPECT_EQ(clsid, filter);
  EXPECT_EQ(interfaceId, filterInterface);
}

TEST_F(FilterHostFailure, DllIsInvalid) {
  Expect(RunHost({L"--dll", folder.Path(L"none.dll")}), 7, "cannot load '.*none.dll': .*error 126.*");
  Expect(RunHost({L"--dll", folder.Write(L"text.dll", "not an image")}), 7,
         "cannot load '.*text.dll': .*error 193.*");
  Expect(RunHost({L"--dll", SystemFile(L"version.dll")}), 8, "'.*version.dll' has no DllGetClassObject");
  Expect(RunHost({L"--dll", SystemFile(L"shell32.dll")}), 9,
         "cannot create the filter: DllGetClassObject: .*0x80040111.*");
}

TEST_F(FilterHostFailure, ComDoesNotStart) {
  KUV_IMPORT_HOOK(initialize, CoInitializeEx);
  KUV_IMPORT_HOOK(uninitialize, CoUninitialize);
  initialize.Answer([](LPVOID, DWORD) { return E_OUTOFMEMORY; });
  Expect(RunHost(WithDll({})), 1, "cannot start COM: .*0x8007000E.*");
  EXPECT_EQ(uninitialize.CallCount(), 0u);
}

TEST_F(FilterHostFailure, NothingIsLeaked) {
  KUV_IMPORT_HOOK(initialize, CoInitializeEx);
  KUV_IMPORT_HOOK(uninitialize, CoUninitialize);
  EXPECT_EQ(RunHost(WithDll({})).exitCode, 0);
  EXPECT_EQ(initialize.CallCount(), uninitialize.CallCount());
  const auto canUnload = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
      reinterpret_cast<void*>(::GetProcAddress(dll.Get(), "DllCanUnloadNow")));
  EXPECT_EQ(canUnload(), S_OK);
}

}  // namespace
