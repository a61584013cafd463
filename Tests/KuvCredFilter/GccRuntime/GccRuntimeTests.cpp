// The replaced parts of the compiler's runtime, in a DLL that is linked like the filter DLL.
#include <windows.h>

#include <cstdlib>
#include <filesystem>
#include <set>
#include <vector>

#include <gtest/gtest.h>

#include "KuvCredFilter/GccRuntime/Probe.h"
#include "Support/ImportTable.h"

namespace {

using KuvTest::RuntimeProbe;

// The number of the slots that hold exceptions without memory, and the sizes of the record before an
// exception and of the rest of a slot.
constexpr std::size_t kSlots = 32;
constexpr std::size_t kRecord = 256;
constexpr std::size_t kMostInASlot = 512 - kRecord;
// The size of the table of functions that run when the DLL is unloaded.
constexpr int kMostAtExit = 32;

// The number of allocations that fail from now on.
std::size_t g_failures = 0;

void* __cdecl FailingMalloc(std::size_t size) {
  if (g_failures == 0) return std::malloc(size);
  --g_failures;
  return nullptr;
}

void* g_freed = nullptr;

void __cdecl RecordingFree(void* memory) {
  g_freed = memory;
  std::free(memory);
}

class GccRuntime : public ::testing::Test {
 protected:
  GccRuntime() {
    wchar_t program[MAX_PATH + 1] = {};
    ::GetModuleFileNameW(nullptr, program, MAX_PATH);
    module = ::LoadLibraryW(std::filesystem::path{program}.replace_filename(L"RuntimeProbe.dll").c_str());
    if (module == nullptr) throw std::runtime_error{"RuntimeProbe.dll does not load"};
    using Function = const RuntimeProbe* (*)();
    const auto get = reinterpret_cast<void (*)()>(::GetProcAddress(module, "Probe"));
    probe = *reinterpret_cast<Function>(get)();
  }
  ~GccRuntime() override { Unload(); }

  void Unload() {
    if (module != nullptr) ::FreeLibrary(module);
    module = nullptr;
  }

  // The next allocations of the DLL fail, as many as the test makes: the DLL of a coverage build allocates
  // later.
  void ExhaustMemory(std::size_t allocations) const {
    Replace("malloc", reinterpret_cast<void*>(&FailingMalloc));
    g_failures = allocations;
  }

  void Replace(const char* import, void* function) const {
    const auto entries = KuvTest::FindImports(module, import);
    ASSERT_FALSE(entries.empty());
    for (void** const entry : entries) KuvTest::WriteImport(entry, function);
  }

  std::vector<void*> TakeAllSlots() const {
    std::vector<void*> exceptions(kSlots);
    for (void*& exception : exceptions) exception = probe.allocateException(kMostInASlot);
    return exceptions;
  }

  HMODULE module = nullptr;
  RuntimeProbe probe = {};
};

// The process ends by fast fail, and nothing is written before.
#define KUV_EXPECT_FAST_FAIL(statement) \
  EXPECT_EXIT(statement, ::testing::ExitedWithCode(static_cast<int>(STATUS_STACK_BUFFER_OVERRUN)), "^$")

using GccRuntimeDeathTest = GccRuntime;

TEST_F(GccRuntimeDeathTest, TerminateFailsFast) {
  KUV_EXPECT_FAST_FAIL(probe.terminate());
}

TEST_F(GccRuntimeDeathTest, AbortFailsFast) {
  KUV_EXPECT_FAST_FAIL(probe.abort());
}

TEST_F(GccRuntimeDeathTest, ExceptionOutOfNoexceptFailsFast) {
  KUV_EXPECT_FAST_FAIL(probe.throwOutOfNoexcept());
}

TEST_F(GccRuntimeDeathTest, OverflowOfAFortifiedFunctionFailsFast) {
  KUV_EXPECT_FAST_FAIL(probe.failRangeCheck());
}

TEST_F(GccRuntimeDeathTest, ThirtyThirdExceptionWithoutMemoryFailsFast) {
  ExhaustMemory(kSlots + 1);
  TakeAllSlots();
  KUV_EXPECT_FAST_FAIL(probe.allocateException(1));
}

TEST_F(GccRuntimeDeathTest, ExceptionTooLargeForASlotFailsFastWithoutMemory) {
  ExhaustMemory(1);
  KUV_EXPECT_FAST_FAIL(probe.allocateException(kMostInASlot + 1));
}

TEST_F(GccRuntimeDeathTest, FullTableOfExitFunctionsFailsFast) {
  std::uint32_t order = 0;
  KUV_EXPECT_FAST_FAIL(probe.registerAtExit(kMostAtExit + 1, &order));
}

TEST_F(GccRuntime, KeepsThirtyTwoExceptionsWithoutMemory) {
  ExhaustMemory(kSlots);
  const std::vector<void*> exceptions = TakeAllSlots();
  EXPECT_EQ((std::set<void*>{exceptions.begin(), exceptions.end()}).size(), kSlots);
  for (void* const exception : exceptions) {
    HMODULE owner = nullptr;
    ::GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        static_cast<const wchar_t*>(exception), &owner);
    EXPECT_EQ(owner, module);
    probe.freeException(exception);
  }
}

TEST_F(GccRuntime, FreesAnExceptionInMemory) {
  void* const exception = probe.allocateException(1);
  Replace("free", reinterpret_cast<void*>(&RecordingFree));
  g_freed = nullptr;
  probe.freeException(exception);
  EXPECT_EQ(g_freed, static_cast<char*>(exception) - kRecord);
}

TEST_F(GccRuntime, ReusesAFreedSlot) {
  ExhaustMemory(kSlots + 3);
  const std::vector<void*> exceptions = TakeAllSlots();
  for (const std::size_t index : {std::size_t{0}, std::size_t{17}, kSlots - 1}) {
    probe.freeException(exceptions[index]);
    EXPECT_EQ(probe.allocateException(1), exceptions[index]);
  }
}

TEST_F(GccRuntime, NestsExceptionsWithoutMemory) {
  ExhaustMemory(2 * kSlots);
  EXPECT_EQ(probe.nestExceptions(static_cast<int>(kSlots)), 0);
  // All slots are free again.
  EXPECT_EQ(probe.nestExceptions(static_cast<int>(kSlots)), 0);
  EXPECT_EQ(g_failures, 0u);
}

TEST_F(GccRuntime, NestsMoreExceptionsThanSlotsWithMemory) {
  EXPECT_EQ(probe.nestExceptions(3 * static_cast<int>(kSlots)), 0);
}

TEST_F(GccRuntime, RunsExitFunctionsInReverseOrder) {
  std::uint32_t order = 0;
  probe.registerAtExit(3, &order);
  Unload();
  EXPECT_EQ(order, (3u * 31 + 2) * 31 + 1);
}

}  // namespace
