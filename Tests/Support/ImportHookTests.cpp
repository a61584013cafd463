#include "Support/ImportHook.h"

#include <algorithm>

#include <gtest/gtest-spi.h>

namespace {

using KuvTest::ImportHook;

// Not inlined, so that no register keeps an import address across a hook.
__declspec(noinline) int Metric(int index) {
  return ::GetSystemMetrics(index);
}

__declspec(noinline) DWORD Attributes(const wchar_t* path) {
  return ::GetFileAttributesW(path);
}

__declspec(noinline) BOOL Delete(const wchar_t* path) {
  return ::DeleteFileW(path);
}

__declspec(noinline) BOOL Remove(const wchar_t* path) {
  return ::RemoveDirectoryW(path);
}

TEST(ImportHook, ForwardsAndCountsCallsWithoutAnAnswer) {
  const int expected = Metric(SM_CXSCREEN);
  KUV_IMPORT_HOOK(metrics, GetSystemMetrics);
  EXPECT_EQ(Metric(SM_CXSCREEN), expected);
  EXPECT_EQ(metrics.CallCount(), 1u);
}

TEST(ImportHook, ReturnsItsAnswer) {
  KUV_IMPORT_HOOK(metrics, GetSystemMetrics);
  metrics.Answer([](int index) { return index * 3; });
  EXPECT_EQ(Metric(7), 21);
}

TEST(ImportHook, EndsWithItsScope) {
  const int before = Metric(SM_CXSCREEN);
  {
    KUV_IMPORT_HOOK(metrics, GetSystemMetrics);
    metrics.Answer([&](int) { return before + 1; });
    ASSERT_EQ(Metric(SM_CXSCREEN), before + 1);
  }
  EXPECT_EQ(Metric(SM_CXSCREEN), before);
}

TEST(ImportHook, RecordsTheArguments) {
  KUV_IMPORT_HOOK(metrics, GetSystemMetrics);
  Metric(3);
  Metric(5);
  EXPECT_EQ(metrics.Calls(), (std::vector<std::tuple<int>>{{3}, {5}}));
}

TEST(ImportHook, AnswersOneCallOnly) {
  KUV_IMPORT_HOOK(attributes, GetFileAttributesW);
  attributes.AnswerCall(2, [](const wchar_t*) { return DWORD{0x1234}; });
  const DWORD real = Attributes(L"C:\\");
  EXPECT_EQ(Attributes(L"C:\\"), 0x1234u);
  EXPECT_EQ(Attributes(L"C:\\"), real);
}

TEST(ImportHook, PlaysAScriptInOrder) {
  KUV_IMPORT_HOOK(metrics, GetSystemMetrics);
  metrics.Script({[](int) { return 11; }, [](int) { return 22; }});
  EXPECT_EQ(Metric(0), 11);
  EXPECT_EQ(Metric(0), 22);
}

TEST(ImportHook, FailsTheTestIfTheScriptIsTooShort) {
  EXPECT_NONFATAL_FAILURE(
      {
        KUV_IMPORT_HOOK(metrics, GetSystemMetrics);
        metrics.Script({[](int) { return 11; }});
        Metric(0);
        Metric(0);
      },
      "GetSystemMetrics was called more often");
}

TEST(ImportHook, FailsTheTestIfAnswersAreLeftOver) {
  EXPECT_NONFATAL_FAILURE(
      {
        KUV_IMPORT_HOOK(metrics, GetSystemMetrics);
        metrics.Script({[](int) { return 11; }});
      },
      "1 answers were not asked for");
}

TEST(ImportHook, SeparatesFunctionsOfOneType) {
  KUV_IMPORT_HOOK(deleteFile, DeleteFileW);
  KUV_IMPORT_HOOK(removeDirectory, RemoveDirectoryW);
  deleteFile.Answer([](const wchar_t*) { return 1; });
  removeDirectory.Answer([](const wchar_t*) { return 2; });
  EXPECT_EQ(Delete(L"x"), 1);
  EXPECT_EQ(Remove(L"x"), 2);
}

TEST(ImportHook, RejectsAFunctionThatIsNotImported) {
  EXPECT_THROW(ImportHook<decltype(&::GetSystemMetrics)>{"NoSuchFunction"}, std::runtime_error);
}

TEST(ImportTable, ListsTheImportsOfAModule) {
  const std::vector<std::string> imports = KuvTest::ListImports(::GetModuleHandleW(nullptr));
  EXPECT_NE(std::find(imports.begin(), imports.end(), "USER32.dll!GetSystemMetrics"), imports.end());
}

// The platform's import library imports some socket functions by ordinal.
TEST(ImportTable, ReturnsTheNameOfAnOrdinal) {
  const HMODULE sockets = ::LoadLibraryW(L"ws2_32.dll");
  ASSERT_NE(sockets, nullptr);
  EXPECT_EQ(KuvTest::NameOfExport(sockets, 111), "WSAGetLastError");
  EXPECT_EQ(KuvTest::NameOfExport(sockets, 57), "gethostname");
  EXPECT_EQ(KuvTest::NameOfExport(sockets, 0), "");
  EXPECT_EQ(KuvTest::NameOfExport(::GetModuleHandleW(nullptr), 1), "");
  ::FreeLibrary(sockets);
}

}  // namespace
