#include "Support/SilentLog.h"

#include <stdexcept>

#include "KuvAuth/Registry/LocalMachineRegistry.h"
#include "KuvAuth/Registry/Registry.h"
#include "Support/ImportHook.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using SilentRegistry = KuvTest::SilentLogFixture;

constexpr wchar_t kPath[] = L"Software\\KuvTest\\Silent";

TEST_F(SilentRegistry, WritesAndReadsBack) {
  Registry platform;
  platform.WriteQword(HKEY_LOCAL_MACHINE, kPath, L"number", 7);
  EXPECT_EQ(platform.ReadQword(HKEY_LOCAL_MACHINE, kPath, L"number", 0), 7u);
  EXPECT_TRUE(RegWriteLocalMachineBinary(kPath, L"binary", Bytes{1, 2}));
  EXPECT_TRUE(RegWriteLocalMachineDword(kPath, L"dword", 7u));
  EXPECT_TRUE(RegWriteLocalMachineQword(kPath, L"qword", std::uint64_t{8}));
  EXPECT_TRUE(RegWriteLocalMachineString(kPath, L"text", L"nine"));
  EXPECT_EQ(RegReadLocalMachineBinary(kPath, L"binary", {}), (Bytes{1, 2}));
  EXPECT_EQ(RegReadLocalMachineDword(kPath, L"dword", 0u), 7u);
  EXPECT_EQ(RegReadLocalMachineQword(kPath, L"qword", 0), 8u);
  EXPECT_EQ(RegReadLocalMachineString(kPath, L"text", L""), L"nine");
}

TEST_F(SilentRegistry, ReportsInvalidArgumentsAndFailedWrites) {
  Registry platform;
  EXPECT_THROW(platform.WriteQword(HKEY_LOCAL_MACHINE, nullptr, L"number", 7), std::invalid_argument);
  EXPECT_THROW(platform.WriteQword(HKEY_LOCAL_MACHINE, kPath, nullptr, 7), std::invalid_argument);
  EXPECT_EQ(platform.ReadQword(HKEY_LOCAL_MACHINE, nullptr, L"number", 9), 9u);
  KUV_IMPORT_HOOK(set, RegSetValueExW);
  set.Answer([](auto...) { return LSTATUS{ERROR_ACCESS_DENIED}; });
  EXPECT_THROW(platform.WriteQword(HKEY_LOCAL_MACHINE, kPath, L"number", 7), std::runtime_error);
  EXPECT_FALSE(RegWriteLocalMachineDword(kPath, L"dword", 7u));
}

}  // namespace
