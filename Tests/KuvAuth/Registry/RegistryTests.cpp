#include "KuvAuth/Registry/Registry.h"

#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "Support/ImportHook.h"
#include "Support/LogCapture.h"
#include "Support/RegistrySandbox.h"
#include "Support/VirtualTable.h"

namespace {

using KuvTest::LogLines;

static_assert(std::is_abstract_v<IRegistry> && std::has_virtual_destructor_v<IRegistry>);
static_assert(std::is_base_of_v<IRegistry, Registry>);
// No data members, only the pointer to the virtual table.
static_assert(sizeof(IRegistry) == sizeof(void*) && sizeof(Registry) == sizeof(void*));

#if defined(_WIN64)
// Records the name of each operation.
struct NamedOperations : IRegistry {
  LSTATUS QueryValueA(HKEY, const char*, DWORD*, DWORD*, BYTE*, DWORD*) override {
    return Record("QueryValueA");
  }
  LSTATUS OpenKeyA(HKEY, const char*, DWORD, REGSAM, HKEY*) override { return Record("OpenKeyA"); }
  LSTATUS CloseKey(HKEY) override { return Record("CloseKey"); }
  LSTATUS QueryValueW(HKEY, const wchar_t*, DWORD*, DWORD*, BYTE*, DWORD*) override {
    return Record("QueryValueW");
  }
  void WriteQword(HKEY, const wchar_t*, const wchar_t*, std::uint64_t) override { Record("WriteQword"); }
  std::uint64_t ReadQword(HKEY, const wchar_t*, const wchar_t*, std::uint64_t) override {
    Record("ReadQword");
    return 0;
  }

  LSTATUS Record(const char* name) {
    names.push_back(name);
    return 0;
  }

  std::vector<std::string> names;
};

TEST(RegistryInterface, HasItsOperationsInOrderAfterTheDestructor) {
  NamedOperations registry;
  // As many arguments as the longest operation takes; no operation reads any.
  for (std::size_t operation = 0; operation < 6; ++operation) {
    KuvTest::CallSlot<std::uint64_t>(&registry, KuvTest::kDestructorSlots + operation, HKEY{}, nullptr,
                                     nullptr, nullptr, nullptr, nullptr);
  }
  EXPECT_EQ(registry.names, (std::vector<std::string>{"QueryValueA", "OpenKeyA", "CloseKey", "QueryValueW",
                                                      "WriteQword", "ReadQword"}));
}

TEST(RegistryInterface, HasItsDestructorFirst) {
  struct Destroyed : NamedOperations {
    explicit Destroyed(bool& destroyed) : destroyed_(destroyed) {}
    ~Destroyed() override { destroyed_ = true; }
    bool& destroyed_;
  };
  bool destroyed = false;
  // The last destructor of the table frees the object, too; the argument asks Visual C++ for that.
  KuvTest::CallSlot<void*>(static_cast<IRegistry*>(new Destroyed{destroyed}), KuvTest::kDestructorSlots - 1,
                           1);
  EXPECT_TRUE(destroyed);
}
#endif

constexpr LSTATUS kStatus = 0x1234;
constexpr char kSettings[] = "Software\\Kuvant\\KuvCredProv";

// The four forwarders, called through the interface.
class RegistryForwarding : public ::testing::Test {
 protected:
  ~RegistryForwarding() override { EXPECT_EQ(log.Lines(), LogLines{}); }

  // Expects one platform call with these arguments, and its status as the result.
  template <typename Hook, typename Operation, typename... Arguments>
  void ExpectForwarded(Hook& hook, Operation operation, Arguments... arguments) {
    hook.Answer([](auto...) { return kStatus; });
    EXPECT_EQ((registry.*operation)(arguments...), kStatus);
    ASSERT_EQ(hook.CallCount(), 1u);
    EXPECT_EQ(hook.Calls()[0], std::make_tuple(arguments...));
  }

  HKEY OpenSettings() {
    HKEY opened = nullptr;
    EXPECT_EQ(registry.OpenKeyA(HKEY_LOCAL_MACHINE, kSettings, 0, KEY_QUERY_VALUE, &opened), ERROR_SUCCESS);
    return opened;
  }

  KuvTest::LogCapture log;
  Registry platform;
  IRegistry& registry = platform;
  const HKEY key = reinterpret_cast<HKEY>(std::uintptr_t{0x77});
  DWORD reserved = 0;
  DWORD type = 0;
  DWORD size = 0;
  BYTE data = 0;
};

TEST_F(RegistryForwarding, PassesArgumentsAndStatusUnchanged) {
  KUV_IMPORT_HOOK(queryA, RegQueryValueExA);
  KUV_IMPORT_HOOK(queryW, RegQueryValueExW);
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  KUV_IMPORT_HOOK(close, RegCloseKey);
  HKEY result = nullptr;
  ExpectForwarded(queryA, &IRegistry::QueryValueA, key, "name", &reserved, &type, &data, &size);
  ExpectForwarded(queryW, &IRegistry::QueryValueW, key, L"name", &reserved, &type, &data, &size);
  ExpectForwarded(open, &IRegistry::OpenKeyA, key, "path", DWORD{3}, REGSAM{0x20019}, &result);
  ExpectForwarded(close, &IRegistry::CloseKey, key);
}

TEST_F(RegistryForwarding, ReadsThePlatformsRegistry) {
  const KuvTest::RegistrySandbox sandbox;
  sandbox.Local().SetText(L"Text", L"abc");
  const HKEY opened = OpenSettings();
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

TEST_F(RegistryForwarding, ReturnsThePlatformsStatus) {
  const KuvTest::RegistrySandbox sandbox;
  sandbox.Local().SetText(L"Text", L"abc");
  HKEY none = nullptr;
  EXPECT_EQ(registry.OpenKeyA(HKEY_LOCAL_MACHINE, "Software\\None", 0, KEY_QUERY_VALUE, &none),
            ERROR_FILE_NOT_FOUND);
  const HKEY opened = OpenSettings();
  size = sizeof(data);
  EXPECT_EQ(registry.QueryValueA(opened, "Text", nullptr, &type, &data, &size), ERROR_MORE_DATA);
  EXPECT_EQ(registry.QueryValueW(opened, L"None", nullptr, &type, &data, &size), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(registry.CloseKey(opened), ERROR_SUCCESS);
}

}  // namespace
