// A log that takes nothing changes no result.
#include <gtest/gtest.h>

#include "KuvAuth/Registry/LocalMachineRegistry.h"
#include "Support/ImportHook.h"
#include "Support/KuvFixture.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr wchar_t kPath[] = L"Software\\KuvTest\\Silent";

class SilentRegistryFunctions : public ::testing::Test {
 protected:
  KuvTest::RegistrySandbox registry;
  KuvTest::LogCapture log{LogLevel::Critical};
};

TEST_F(SilentRegistryFunctions, WriteAndReadBack) {
  EXPECT_TRUE(RegWriteLocalMachineBinary(kPath, L"binary", Bytes{1, 2}));
  EXPECT_TRUE(RegWriteLocalMachineDword(kPath, L"dword", 7u));
  EXPECT_TRUE(RegWriteLocalMachineQword(kPath, L"qword", std::uint64_t{8}));
  EXPECT_TRUE(RegWriteLocalMachineString(kPath, L"text", L"nine"));
  EXPECT_EQ(RegReadLocalMachineBinary(kPath, L"binary", {}), (Bytes{1, 2}));
  EXPECT_EQ(RegReadLocalMachineDword(kPath, L"dword", 0u), 7u);
  EXPECT_EQ(RegReadLocalMachineQword(kPath, L"qword", 0), 8u);
  EXPECT_EQ(RegReadLocalMachineString(kPath, L"text", L""), L"nine");
  EXPECT_TRUE(log.RawLines().empty());
}

TEST_F(SilentRegistryFunctions, TellAWriteThatFails) {
  KUV_IMPORT_HOOK(set, RegSetValueExW);
  set.Answer(
      [](HKEY, const wchar_t*, DWORD, DWORD, const BYTE*, DWORD) -> LSTATUS { return ERROR_ACCESS_DENIED; });
  EXPECT_FALSE(RegWriteLocalMachineDword(kPath, L"dword", 7u));
  EXPECT_TRUE(log.RawLines().empty());
}

}  // namespace
