// What the replaced runtime assumes of libstdc++, compared with the libstdc++ of this program.
#include "KuvCredFilter/GccRuntime/ExceptionAbi.h"

#include <windows.h>

#include <cstdlib>
#include <exception>

#include <gtest/gtest.h>

#include "Support/ImportTable.h"

namespace {

using Kuv::GccRuntime::ExceptionRecord;

std::size_t g_requested = 0;

void* __cdecl MallocOfTheTest(std::size_t size) {
  g_requested = size;
  return ::HeapAlloc(::GetProcessHeap(), 0, size);
}

TEST(ExceptionAbi, RecordHasTheReviewedSize) {
  constexpr std::size_t kObject = 24;
  const auto entries = KuvTest::FindImports(::GetModuleHandleW(nullptr), "malloc");
  ASSERT_FALSE(entries.empty());
  void* const original = *entries.front();
  for (void** const entry : entries) KuvTest::WriteImport(entry, reinterpret_cast<void*>(&MallocOfTheTest));
  void* const exception = abi::__cxa_allocate_exception(kObject);
  for (void** const entry : entries) KuvTest::WriteImport(entry, original);
  EXPECT_EQ(g_requested, kObject + sizeof(ExceptionRecord));
  EXPECT_TRUE(::HeapFree(::GetProcessHeap(), 0, static_cast<char*>(exception) - sizeof(ExceptionRecord)));
}

class ChecksWhileUnwinding {
 public:
  explicit ChecksWhileUnwinding(unsigned expected) : expected_(expected) {}
  ~ChecksWhileUnwinding() { EXPECT_EQ(abi::__cxa_get_globals()->uncaughtExceptions, expected_); }

 private:
  unsigned expected_;
};

TEST(ExceptionAbi, ThreadStateCountsUncaughtExceptions) {
  EXPECT_EQ(abi::__cxa_get_globals()->uncaughtExceptions, 0u);
  try {
    const ChecksWhileUnwinding local{1};
    throw 1;
  } catch (int) {
    EXPECT_EQ(abi::__cxa_get_globals()->uncaughtExceptions, 0u);
  }
}

TEST(ExceptionAbi, ThreadStateNamesTheCaughtException) {
  EXPECT_EQ(abi::__cxa_get_globals()->caughtExceptions, nullptr);
  try {
    throw 7;
  } catch (const int& caught) {
    // The list names the inner part of the record, which ends where the object begins.
    const auto* const record = static_cast<const char*>(abi::__cxa_get_globals()->caughtExceptions);
    EXPECT_EQ(record + sizeof(ExceptionRecord::exception), reinterpret_cast<const char*>(&caught));
  }
  EXPECT_EQ(abi::__cxa_get_globals()->caughtExceptions, nullptr);
}

}  // namespace
