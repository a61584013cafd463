#include "FilterCheck/Machine/FilterModule.h"

#include <cwchar>

#include <gtest/gtest.h>

#include "Support/ImportHook.h"
#include "Support/TempFolder.h"
#include "Tools/FilterCheck/RegisteredMachine.h"

namespace {

using FilterCheck::HasArchitectureOf;
using FilterCheck::IsFile;
using FilterCheck::IsSameFile;
using FilterCheck::ModuleFile;
using FilterCheck::View;
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
  for (const std::uint16_t machine : {kX64, kX86, std::uint16_t{0xAA64}}) {
    SCOPED_TRACE(machine);
    WriteFileBytes(path, ModuleBytes(machine));
    EXPECT_EQ(HasArchitectureOf(View::Native, path), machine == kX64);
    EXPECT_EQ(HasArchitectureOf(View::Wow64, path), machine == kX86);
  }
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
    EXPECT_FALSE(HasArchitectureOf(View::Native, path)) << ::testing::PrintToString(bytes);
  }
  EXPECT_FALSE(HasArchitectureOf(View::Native, folder.Path(L"none")));
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
