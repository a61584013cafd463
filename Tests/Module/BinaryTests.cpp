// The DLL as a file: what it offers, what it asks of the platform, what it tells of itself.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <set>

#include "Module/LoadedFilter.h"

namespace {

using KuvTest::LoadedFilter;
using Names = std::set<std::string>;

Names ExportsOf(HMODULE module) {
  const auto* const base = reinterpret_cast<const BYTE*>(module);
  const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
  const IMAGE_DATA_DIRECTORY& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
  const auto* const exports =
      reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base + directory.VirtualAddress);
  const auto* const names = reinterpret_cast<const DWORD*>(base + exports->AddressOfNames);
  Names result;
  for (DWORD i = 0; i < exports->NumberOfNames; ++i) {
    result.insert(reinterpret_cast<const char*>(base + names[i]));
  }
  return result;
}

TEST(Binary, ExportsItsFourFunctionsOnly) {
  const LoadedFilter dll;
  EXPECT_EQ(ExportsOf(dll.Module()),
            (Names{"DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer", "DllUnregisterServer"}));
}

TEST(Binary, ImportsSystemLibrariesOnlyAndNoneThatItDoesNotUse) {
  const LoadedFilter dll;
  Names libraries;
  for (const std::string& import : KuvTest::ListImports(dll.Module())) {
    std::string library = import.substr(0, import.find('!'));
    std::transform(library.begin(), library.end(), library.begin(),
                   [](unsigned char unit) { return static_cast<char>(std::tolower(unit)); });
    libraries.insert(library);
  }
  EXPECT_EQ(libraries,
            (Names{"advapi32.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "shell32.dll", "user32.dll"}));
}

TEST(Binary, BringsNoThreadLibraryAndNoCryptography) {
  const LoadedFilter dll;
  for (const char* function : {"AddVectoredExceptionHandler", "CryptAcquireContextA", "_beginthreadex"}) {
    EXPECT_TRUE(KuvTest::FindImports(dll.Module(), function).empty()) << function;
  }
}

// An exception takes nothing of the process that would stay behind when the DLL is unloaded.
TEST(Binary, HasItsOwnRoomForExceptions) {
  const LoadedFilter dll;
  for (const char* function : {"TlsAlloc", "CreateSemaphoreW"}) {
    EXPECT_TRUE(KuvTest::FindImports(dll.Module(), function).empty()) << function;
  }
}

TEST(Binary, IsBelow400Kilobytes) {
  WIN32_FILE_ATTRIBUTE_DATA data{};
  ASSERT_NE(::GetFileAttributesExW(KuvTest::FilterDllPath().c_str(), GetFileExInfoStandard, &data), FALSE);
#if defined(NDEBUG)
  EXPECT_LT(data.nFileSizeLow, 400u * 1024);
#else
  GTEST_SKIP() << "a debug build keeps its symbols";
#endif
}

TEST(Binary, CarriesItsVersion) {
  const LoadedFilter dll;
  const HRSRC resource = ::FindResourceW(dll.Module(), MAKEINTRESOURCEW(VS_VERSION_INFO),
                                         MAKEINTRESOURCEW(16));  // RT_VERSION
  ASSERT_NE(resource, nullptr);
  const auto* const bytes = static_cast<const char*>(::LockResource(::LoadResource(dll.Module(), resource)));
  const std::string text{bytes, ::SizeofResource(dll.Module(), resource)};
  VS_FIXEDFILEINFO information{};
  const std::size_t at = text.find("\xBD\x04\xEF\xFE");
  ASSERT_NE(at, std::string::npos);
  ASSERT_LE(at + sizeof(information), text.size());
  text.copy(reinterpret_cast<char*>(&information), sizeof(information), at);
  EXPECT_EQ(information.dwFileVersionMS, 0x00040003u);
  EXPECT_EQ(information.dwFileVersionLS, (1700u << 16) | 1150u);
}

TEST(Binary, LoadingItLeavesNoHandleBehind) {
  { const LoadedFilter warm; }
  DWORD before = 0;
  DWORD after = 0;
  ::GetProcessHandleCount(::GetCurrentProcess(), &before);
  const HMODULE module = ::LoadLibraryW(KuvTest::FilterDllPath().c_str());
  ASSERT_NE(module, nullptr);
  ::GetProcessHandleCount(::GetCurrentProcess(), &after);
  EXPECT_EQ(after, before);
  ::FreeLibrary(module);
}

}  // namespace
