#include "Support/RegistrySandbox.h"

#include <stdexcept>

#include <gtest/gtest.h>

#include "KuvAuth/Support/UniqueResource.h"

namespace {

using KuvTest::RegistrySandbox;
using KuvTest::TestKey;

bool Opens(HKEY root, const wchar_t* path) {
  Kuv::UniqueRegistryKey key;
  return ::RegOpenKeyExW(root, path, 0, KEY_READ, key.Put()) == ERROR_SUCCESS;
}

TEST(RegistrySandbox, HidesTheMachine) {
  ASSERT_TRUE(Opens(HKEY_LOCAL_MACHINE, L"Software\\Microsoft"));
  const RegistrySandbox sandbox;
  EXPECT_FALSE(Opens(HKEY_LOCAL_MACHINE, L"Software\\Microsoft"));
  EXPECT_FALSE(Opens(HKEY_CLASSES_ROOT, L"CLSID"));
}

TEST(RegistrySandbox, LeavesNothingBehind) {
  {
    const RegistrySandbox sandbox;
    TestKey{HKEY_LOCAL_MACHINE, L"Software\\KuvTestTrace"}.SetDword(L"x", 1);
    TestKey{HKEY_CLASSES_ROOT, L"KuvTestTrace"}.SetDword(L"x", 1);
  }
  EXPECT_FALSE(Opens(HKEY_LOCAL_MACHINE, L"Software\\KuvTestTrace"));
  EXPECT_FALSE(Opens(HKEY_CLASSES_ROOT, L"KuvTestTrace"));
  EXPECT_TRUE(Opens(HKEY_LOCAL_MACHINE, L"Software\\Microsoft"));
  const std::wstring scratch = L"Software\\KuvTests\\" + std::to_wstring(::GetCurrentProcessId()) + L".1";
  EXPECT_FALSE(Opens(HKEY_CURRENT_USER, scratch.c_str()));
}

TEST(RegistrySandbox, StartsEmpty) {
  { RegistrySandbox{}.Local().SetDword(L"RdpOnly", 1); }
  const RegistrySandbox sandbox;
  EXPECT_FALSE(sandbox.Local().Exists());
}

TEST(TestKey, WritesAnyTypeAndSize) {
  const RegistrySandbox sandbox;
  const TestKey key = sandbox.Policy();
  key.SetBytes(L"value", REG_BINARY, "abc", 3);
  DWORD type = 0;
  EXPECT_EQ(key.GetBytes(L"value", type), (std::vector<std::uint8_t>{'a', 'b', 'c'}));
  EXPECT_EQ(type, static_cast<DWORD>(REG_BINARY));
}

// Keys that a crashed process left under the names that are used next.
TEST(RegistrySandbox, StartsEmptyAfterACrashedProcess) {
  const std::wstring stem = L"Software\\KuvTests\\" + std::to_wstring(::GetCurrentProcessId()) + L".";
  constexpr int kNames = 50;
  for (int number = 1; number <= kNames; ++number) {
    const std::wstring left = stem + std::to_wstring(number) + L"\\LocalMachine\\Software\\KuvTestTrace";
    TestKey{HKEY_CURRENT_USER, left}.Create();
  }
  {
    const RegistrySandbox sandbox;
    EXPECT_FALSE(Opens(HKEY_LOCAL_MACHINE, L"Software\\KuvTestTrace"));
  }
  for (int number = 1; number <= kNames; ++number) {
    ::RegDeleteTreeW(HKEY_CURRENT_USER, (stem + std::to_wstring(number)).c_str());
  }
}

TEST(TestKey, WritesTextsWithBothTerminators) {
  const RegistrySandbox sandbox;
  const TestKey key = sandbox.Local();
  key.SetTexts(L"list", {L"a", L"bc"});
  DWORD type = 0;
  EXPECT_EQ(key.GetBytes(L"list", type),
            (std::vector<std::uint8_t>{'a', 0, 0, 0, 'b', 0, 'c', 0, 0, 0, 0, 0}));
  EXPECT_EQ(type, static_cast<DWORD>(REG_MULTI_SZ));
}

TEST(TestKey, ThrowsIfAbsent) {
  const RegistrySandbox sandbox;
  DWORD type = 0;
  EXPECT_THROW(sandbox.Local().GetBytes(L"value", type), std::runtime_error);
  EXPECT_THROW(sandbox.Local().DeleteValue(L"value"), std::runtime_error);
  EXPECT_THROW(sandbox.Local().Delete(), std::runtime_error);
}

}  // namespace
