// What loading the DLL does to a process, and what becomes of a process whose stack was overwritten in it.
#include <cwchar>

#include <gtest/gtest.h>

#include "KuvAuth/Support/UniqueResource.h"
#include "Module/LoadedFilter.h"
#include "Support/Holdings.h"
#include "Support/RegistrySandbox.h"

namespace {

using KuvTest::CountHandles;
using KuvTest::LoadedFilter;

TEST(LoadedImage, LeavesNoHandleBehind) {
  { const LoadedFilter warm; }
  const std::size_t before = CountHandles();
  const HMODULE module = ::LoadLibraryW(KuvTest::FilterDllPath().c_str());
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(CountHandles(), before);
  ::FreeLibrary(module);
}

// Lets the platform write more into a buffer on the stack of DllRegisterServer than it holds.
void OverflowABuffer() {
  const KuvTest::RegistrySandbox registry;
  const LoadedFilter dll;
  KuvTest::ImportHook<decltype(&::GetModuleFileNameW)> path{dll.Module(), "GetModuleFileNameW"};
  path.Answer([](HMODULE, wchar_t* buffer, DWORD size) {
    const DWORD written = size + 64;
    std::wmemset(buffer, L'x', written);
    buffer[written - 1] = L'\0';
    return written;
  });
  const FARPROC registration = ::GetProcAddress(dll.Module(), "DllRegisterServer");
  reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(reinterpret_cast<void (*)()>(registration))();
}

TEST(LoadedImage, EndsTheProcessWhenABufferOnItsStackOverflows) {
  EXPECT_EXIT(OverflowABuffer(), ::testing::ExitedWithCode(static_cast<int>(STATUS_STACK_BUFFER_OVERRUN)),
              "");
}

}  // namespace
