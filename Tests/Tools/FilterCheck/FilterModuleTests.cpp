#include "FilterCheck/Machine/FilterModule.h"

#include <cwchar>

#include <gtest/gtest.h>

#include "Support/ImportHook.h"
#include "Support/TempFolder.h"
#include "Tools/FilterCheck/RegisteredMachine.h"

namespace {

using FilterCheck::IsFile;
using FilterCheck::IsModuleFor;
using FilterCheck::IsSameFile;
using FilterCheck::MachineOf;
using FilterCheck::ModuleFile;
using FilterCheck::ModuleVersion;
using FilterCheck::View;
using KuvTest::kArm64;
using KuvTest::kX64;
using KuvTest::kX86;
using KuvTest::ModuleBytes;
using KuvTest::TempFolder;
using KuvTest::WriteFileBytes;

class FilterModule : public ::testing::Test {
 protected:
  FilterModule() {
    system.Answer([](LPWSTR path, UINT) {
      std::wcscpy(path, L"C:\\Windows\\system32");
      return UINT{19};
    });
    system32Bit.Answer([](LPWSTR path, UINT) {
      std::wcscpy(path, L"C:\\Windows\\syswow64");
      return UINT{19};
    });
    ::SetEnvironmentVariableW(L"ProgramFiles", L"C:\\Programs");
    ::SetEnvironmentVariableW(L"ProgramFiles(x86)", L"C:\\Programs86");
  }

  KUV_IMPORT_HOOK(system, GetSystemDirectoryW);
  KUV_IMPORT_HOOK(system32Bit, GetSystemWow64DirectoryW);
};

TEST_F(FilterModule, ResolvesPathsAsProgramsOfTheViewDo) {
  struct {
    const char* name;
    const wchar_t* text;
    bool expand;
    View view;
    const wchar_t* path;
  } const rows[] = {
      {"path", L"C:\\a b\\f.dll", false, View::Native, L"C:\\a b\\f.dll"},
      {"variable that is not expanded", L"%ProgramFiles%\\f.dll", false, View::Native,
       L"%ProgramFiles%\\f.dll"},
      {"empty", L"", false, View::Native, L""},
      {"quotes", L"\"C:\\a b\\f.dll\"", false, View::Native, L"C:\\a b\\f.dll"},
      {"variable", L"%ProgramFiles%\\f.dll", true, View::Native, L"C:\\Programs\\f.dll"},
      {"variable, 32-bit", L"%programfiles%\\f.dll", true, View::Wow64, L"C:\\Programs86\\f.dll"},
      {"bare name", L"f.dll", false, View::Native, L"C:\\Windows\\system32\\f.dll"},
      {"bare name, 32-bit", L"f.dll", false, View::Wow64, L"C:\\Windows\\syswow64\\f.dll"},
      {"system folder", L"c:\\windows\\System32\\f.dll", false, View::Wow64, L"C:\\Windows\\syswow64\\f.dll"},
      {"similar folder", L"C:\\Windows\\system32x\\f.dll", false, View::Wow64,
       L"C:\\Windows\\system32x\\f.dll"},
  };
  for (const auto& row : rows) EXPECT_EQ(ModuleFile(row.text, row.expand, row.view), row.path) << row.name;
}

TEST(FilterModuleFile, IgnoresFolders) {
  const TempFolder folder;
  EXPECT_FALSE(IsFile(folder.Path()));
  EXPECT_FALSE(IsFile(folder.Path(L"none")));
  WriteFileBytes(folder.Path(L"one"), "");
  EXPECT_TRUE(IsFile(folder.Path(L"one")));
}

TEST(FilterModuleFile, ReadsArchitectureOfImage) {
  const TempFolder folder;
  const std::wstring path = folder.Path(L"f.dll");
  for (const std::uint16_t machine : {kX64, kX86, kArm64}) {
    WriteFileBytes(path, ModuleBytes(machine));
    for (const std::uint16_t expected : {kX64, kX86, kArm64}) {
      EXPECT_EQ(IsModuleFor(expected, path), machine == expected) << machine << " " << expected;
    }
  }
}

// 32-bit programs are x86 programs on ARM64 too.
TEST(FilterModuleFile, ExpectsNativeModulesIn64BitView) {
  for (const std::uint16_t machine : {kX64, kArm64}) {
    const KuvTest::NativeMachine native{machine};
    EXPECT_EQ(MachineOf(View::Native), machine);
    EXPECT_EQ(MachineOf(View::Wow64), kX86);
  }
}

TEST(FilterModuleFile, HasNoVersionWithoutResource) {
  const TempFolder folder;
  WriteFileBytes(folder.Path(L"f.dll"), ModuleBytes(kX64));
  EXPECT_EQ(ModuleVersion(folder.Path(L"f.dll")), "");
  EXPECT_EQ(ModuleVersion(folder.Path(L"none")), "");
}

TEST(FilterModuleFile, ReadsVersionFromResource) {
  KUV_IMPORT_HOOK(size, GetFileVersionInfoSizeW);
  KUV_IMPORT_HOOK(read, GetFileVersionInfoW);
  KUV_IMPORT_HOOK(query, VerQueryValueW);
  VS_FIXEDFILEINFO info{};
  info.dwFileVersionMS = 0x00040003;
  info.dwFileVersionLS = 0x06A4FFFF;
  UINT bytes = sizeof(info);
  size.Answer([](auto...) { return DWORD{8}; });
  read.Answer([](LPCWSTR, DWORD, DWORD given, LPVOID) { return given == 8 ? TRUE : FALSE; });
  query.Answer([&](LPCVOID, LPCWSTR block, LPVOID* found, PUINT length) {
    EXPECT_STREQ(block, L"\\");
    *found = &info;
    *length = bytes;
    return TRUE;
  });
  EXPECT_EQ(ModuleVersion(L"f.dll"), "4.3.1700.65535");
  bytes = sizeof(info) - 1;
  EXPECT_EQ(ModuleVersion(L"f.dll"), "");
}

TEST(FilterModuleFile, RejectsInvalidImages) {
  const TempFolder folder;
  const std::wstring path = folder.Path(L"f.dll");
  const std::string good = ModuleBytes(kX64);
  std::string noDos = good;
  noDos[0] = 'N';
  std::string noHeaders = good;
  noHeaders[0x41] = 'X';
  std::string farAway = good;
  farAway.replace(0x3C, 4, "\x50\x00\x00\x00", 4);
  std::string negative = good;
  negative.replace(0x3C, 4, "\xF0\xFF\xFF\xFF", 4);
  for (const std::string& bytes :
       {std::string{}, std::string{"MZ"}, noDos, noHeaders, farAway, negative, good.substr(0, 0x57)}) {
    WriteFileBytes(path, bytes);
    EXPECT_FALSE(IsModuleFor(kX64, path)) << ::testing::PrintToString(bytes);
  }
  EXPECT_FALSE(IsModuleFor(kX64, folder.Path(L"none")));
}

TEST(FilterModuleFile, ComparesFilesByNameOrContent) {
  const TempFolder folder;
  WriteFileBytes(folder.Path(L"a"), "bytes");
  WriteFileBytes(folder.Path(L"b"), "bytes");
  WriteFileBytes(folder.Path(L"c"), "other");
  EXPECT_TRUE(IsSameFile(folder.Path(L"a"), folder.Path(L"A")));
  EXPECT_TRUE(IsSameFile(folder.Path(L"a"), folder.Path(L"b")));
  EXPECT_FALSE(IsSameFile(folder.Path(L"a"), folder.Path(L"c")));
  EXPECT_FALSE(IsSameFile(folder.Path(L"none"), folder.Path(L"nothing")));
}

}  // namespace
