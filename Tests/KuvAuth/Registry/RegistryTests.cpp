#include "KuvAuth/Registry/Registry.h"

#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "Support/ImportHook.h"
#include "Support/LogCapture.h"
#include "Support/RegistrySandbox.h"

namespace {

using KuvTest::LogLines;

static_assert(std::is_abstract_v<IRegistry> && std::has_virtual_destructor_v<IRegistry>);
static_assert(std::is_base_of_v<IRegistry, Registry>);
// No data: there is nothing but the table of its operations.
static_assert(sizeof(IRegistry) == sizeof(void*) && sizeof(Registry) == sizeof(void*));

constexpr LSTATUS kStatus = 0x1234;

// The four forwarders, called as their users do.
class RegistryForwarding : public ::testing::Test {
 protected:
  ~RegistryForwarding() override { EXPECT_EQ(log.Lines(), LogLines{}); }

  KuvTest::LogCapture log;
  Registry platform;
  IRegistry& registry = platform;
  const HKEY key = reinterpret_cast<HKEY>(std::uintptr_t{0x77});
  DWORD reserved = 0;
  DWORD type = 0;
  DWORD size = 0;
  BYTE data = 0;
};

TEST_F(RegistryForwarding, HandsAQueryByA8BitNameOn) {
  const char* const name = "name";
  KUV_IMPORT_HOOK(query, RegQueryValueExA);
  query.Answer([](auto...) { return kStatus; });
  EXPECT_EQ(registry.QueryValueA(key, name, &reserved, &type, &data, &size), kStatus);
  ASSERT_EQ(query.CallCount(), 1u);
  EXPECT_EQ(query.Calls()[0], std::make_tuple(key, name, &reserved, &type, &data, &size));
}

TEST_F(RegistryForwarding, HandsAQueryByA16BitNameOn) {
  const wchar_t* const name = L"name";
  KUV_IMPORT_HOOK(query, RegQueryValueExW);
  query.Answer([](auto...) { return kStatus; });
  EXPECT_EQ(registry.QueryValueW(key, name, &reserved, &type, &data, &size), kStatus);
  ASSERT_EQ(query.CallCount(), 1u);
  EXPECT_EQ(query.Calls()[0], std::make_tuple(key, name, &reserved, &type, &data, &size));
}

TEST_F(RegistryForwarding, HandsAnOpenOn) {
  const char* const path = "path";
  HKEY result = nullptr;
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  open.Answer([](auto...) { return kStatus; });
  EXPECT_EQ(registry.OpenKeyA(key, path, 3, 0x20019, &result), kStatus);
  ASSERT_EQ(open.CallCount(), 1u);
  EXPECT_EQ(open.Calls()[0], std::make_tuple(key, path, DWORD{3}, REGSAM{0x20019}, &result));
}

TEST_F(RegistryForwarding, HandsACloseOn) {
  KUV_IMPORT_HOOK(close, RegCloseKey);
  close.Answer([](auto...) { return kStatus; });
  EXPECT_EQ(registry.CloseKey(key), kStatus);
  EXPECT_EQ(close.Calls(), (std::vector<std::tuple<HKEY>>{{key}}));
}

TEST_F(RegistryForwarding, ReadsTheRegistryOfThePlatform) {
  const KuvTest::RegistrySandbox sandbox;
  sandbox.Local().SetText(L"Text", L"abc");
  HKEY opened = nullptr;
  ASSERT_EQ(
      registry.OpenKeyA(HKEY_LOCAL_MACHINE, "Software\\Kuvant\\KuvCredProv", 0, KEY_QUERY_VALUE, &opened),
      ERROR_SUCCESS);
  char narrow[8] = {};
  size = sizeof(narrow);
  EXPECT_EQ(registry.QueryValueA(opened, "Text", nullptr, &type, reinterpret_cast<BYTE*>(narrow), &size),
            ERROR_SUCCESS);
  EXPECT_STREQ(narrow, "abc");
  EXPECT_EQ(type, 1u);
  EXPECT_EQ(size, 4u);
  wchar_t wide[8] = {};
  size = sizeof(wide);
  EXPECT_EQ(registry.QueryValueW(opened, L"Text", nullptr, &type, reinterpret_cast<BYTE*>(wide), &size),
            ERROR_SUCCESS);
  EXPECT_STREQ(wide, L"abc");
  EXPECT_EQ(size, 8u);
  EXPECT_EQ(registry.CloseKey(opened), ERROR_SUCCESS);
}

TEST_F(RegistryForwarding, GivesThePlatformsStatusBack) {
  const KuvTest::RegistrySandbox sandbox;
  sandbox.Local().SetText(L"Text", L"abc");
  HKEY opened = nullptr;
  EXPECT_EQ(registry.OpenKeyA(HKEY_LOCAL_MACHINE, "Software\\None", 0, KEY_QUERY_VALUE, &opened),
            ERROR_FILE_NOT_FOUND);
  ASSERT_EQ(
      registry.OpenKeyA(HKEY_LOCAL_MACHINE, "Software\\Kuvant\\KuvCredProv", 0, KEY_QUERY_VALUE, &opened),
      ERROR_SUCCESS);
  size = sizeof(data);
  EXPECT_EQ(registry.QueryValueA(opened, "Text", nullptr, &type, &data, &size), ERROR_MORE_DATA);
  EXPECT_EQ(registry.QueryValueW(opened, L"None", nullptr, &type, &data, &size), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(registry.CloseKey(opened), ERROR_SUCCESS);
}

}  // namespace
