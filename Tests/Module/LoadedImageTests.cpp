// The effect of loading the DLL on a process, and the end of a process in which the DLL finds its stack
// overwritten.
#include <cwchar>

#include <gtest/gtest.h>

#include "Support/FilterModule.h"
#include "Support/Holdings.h"
#include "Support/ImportHook.h"
#include "Support/RegistrySandbox.h"

namespace {

using KuvTest::CountHandles;
using KuvTest::FilterModule;

TEST(LoadedImage, OpensNoHandle) {
  { const FilterModule first; }
  const std::size_t before = CountHandles();
  const FilterModule module;
  EXPECT_EQ(CountHandles(), before);
}

// Lets the platform write past the end of a buffer on the stack of DllRegisterServer.
void OverflowABuffer() {
  const KuvTest::RegistrySandbox registry;
  const FilterModule dll;
  KuvTest::ImportHook<decltype(&::GetModuleFileNameW)> path{dll.Get(), "GetModuleFileNameW"};
  path.Answer([](HMODULE, wchar_t* buffer, DWORD size) {
    const DWORD written = size + 64;
    std::wmemset(buffer, L'x', written);
    buffer[written - 1] = L'\0';
    return written;
  });
  dll.RegisterServer();
}

TEST(LoadedImage, EndsTheProcessOnStackBufferOverflow) {
  EXPECT_EXIT(OverflowABuffer(), ::testing::ExitedWithCode(static_cast<int>(STATUS_STACK_BUFFER_OVERRUN)),
              "");
}

}  // namespace
