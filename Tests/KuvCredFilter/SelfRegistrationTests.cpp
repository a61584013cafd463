#include <windows.h>
#include <objbase.h>
#include <olectl.h>

#include <cstring>

#include "KuvAuth/Support/UniqueResource.h"
#include "KuvCredFilter/Identifiers.h"
#include "KuvCredFilter/Module.h"
#include "Support/ImportHook.h"
#include "Support/KuvFixture.h"
#include "Support/Providers.h"

namespace {

using namespace KuvTest;

// Registers in the registry sandbox.
class SelfRegistration : public KuvFixture {
 protected:
  SelfRegistration() { g_moduleInstance = ::GetModuleHandleW(nullptr); }
  ~SelfRegistration() override { g_moduleInstance = nullptr; }

  static std::wstring ModulePath() {
    wchar_t path[1024] = {};
    return {path, ::GetModuleFileNameW(nullptr, path, 1024)};
  }

  // Expects this text as a REG_SZ value of `size` bytes, terminator included.
  static void ExpectText(const TestKey& key, const wchar_t* name, const std::wstring& text,
                         std::size_t size) {
    DWORD type = 0;
    const std::vector<std::uint8_t> bytes = key.GetBytes(name, type);
    EXPECT_EQ(type, 1u);
    ASSERT_EQ(bytes.size(), size);
    ASSERT_EQ(size, (text.size() + 1) * 2);
    EXPECT_EQ(std::memcmp(bytes.data(), text.c_str(), size), 0);
  }

  static void ExpectHolds(HKEY root, const char* path, DWORD subkeys, DWORD values) {
    Kuv::UniqueRegistryKey key;
    ASSERT_EQ(::RegOpenKeyExW(root, Wide(path).c_str(), 0, KEY_READ, key.Put()), ERROR_SUCCESS);
    DWORD keyCount = 0;
    DWORD valueCount = 0;
    ASSERT_EQ(::RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, &keyCount, nullptr, nullptr,
                                 &valueCount, nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(keyCount, subkeys);
    EXPECT_EQ(valueCount, values);
  }

  void ExpectRegistered() {
    ExpectText(classKey, L"", L"KuvCredFilter", 28);
    ExpectText(serverKey, L"", ModulePath(), (ModulePath().size() + 1) * 2);
    ExpectText(serverKey, L"ThreadingModel", L"Apartment", 20);
    ExpectText(filterKey, L"", L"KuvCredFilter", 28);
    ExpectHolds(HKEY_CLASSES_ROOT, kClassKey, 1, 1);
    ExpectHolds(HKEY_CLASSES_ROOT, kServerKey, 0, 2);
    ExpectHolds(HKEY_LOCAL_MACHINE, kFilterKey, 0, 1);
    ExpectHolds(HKEY_CLASSES_ROOT, "CLSID", 1, 0);
    ExpectHolds(HKEY_LOCAL_MACHINE, kFilterListKey, 1, 0);
  }

  const TestKey classKey{HKEY_CLASSES_ROOT, Wide(kClassKey)};
  const TestKey serverKey{HKEY_CLASSES_ROOT, Wide(kServerKey)};
  const TestKey filterKey{HKEY_LOCAL_MACHINE, Wide(kFilterKey)};
};

TEST_F(SelfRegistration, WritesTheClassAndTheFilter) {
  EXPECT_EQ(::DllRegisterServer(), S_OK);
  ExpectRegistered();
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(SelfRegistration, MayBeRepeated) {
  EXPECT_EQ(::DllRegisterServer(), S_OK);
  EXPECT_EQ(::DllRegisterServer(), S_OK);
  ExpectRegistered();
}

TEST_F(SelfRegistration, OverwritesExistingValues) {
  serverKey.SetText(L"", L"C:\\Old\\Filter.dll");
  serverKey.SetDword(L"ThreadingModel", 3);
  filterKey.SetText(L"", L"Old");
  EXPECT_EQ(::DllRegisterServer(), S_OK);
  ExpectRegistered();
}

TEST_F(SelfRegistration, UsesTheTextOfTheClassIdentifier) {
  ASSERT_EQ(::DllRegisterServer(), S_OK);
  for (const auto& [root, path] :
       {std::pair{HKEY_CLASSES_ROOT, "CLSID"}, std::pair{HKEY_LOCAL_MACHINE, kFilterListKey + 0}}) {
    Kuv::UniqueRegistryKey key;
    ASSERT_EQ(::RegOpenKeyExW(root, Wide(path).c_str(), 0, KEY_READ, key.Put()), ERROR_SUCCESS);
    wchar_t name[64] = {};
    DWORD length = 64;
    ASSERT_EQ(::RegEnumKeyExW(key.Get(), 0, name, &length, nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(name, Wide(Text(CLSID_KuvCredFilter)));
    EXPECT_EQ(name, Wide(kFilterClass));
  }
}

TEST_F(SelfRegistration, IsRemovedByUnregistering) {
  const TestKey otherClass{HKEY_CLASSES_ROOT, L"CLSID\\" + Wide(kKuv)};
  const TestKey otherFilter{HKEY_LOCAL_MACHINE, Wide(kFilterListKey) + L"\\" + Wide(kKuv)};
  otherClass.SetText(L"", L"KuvCredProv");
  otherFilter.SetText(L"", L"Other");
  ASSERT_EQ(::DllRegisterServer(), S_OK);
  EXPECT_EQ(::DllUnregisterServer(), S_OK);
  EXPECT_FALSE(classKey.Exists());
  EXPECT_FALSE(serverKey.Exists());
  EXPECT_FALSE(filterKey.Exists());
  ExpectHolds(HKEY_CLASSES_ROOT, "CLSID", 1, 0);
  ExpectHolds(HKEY_LOCAL_MACHINE, kFilterListKey, 1, 0);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(SelfRegistration, UnregisteringWithoutRegistrationSucceeds) {
  EXPECT_EQ(::DllUnregisterServer(), S_OK);
  ASSERT_EQ(::DllRegisterServer(), S_OK);
  EXPECT_EQ(::DllUnregisterServer(), S_OK);
  EXPECT_EQ(::DllUnregisterServer(), S_OK);
}

TEST_F(SelfRegistration, UnregistersWhatCanBeDeleted) {
  ASSERT_EQ(::DllRegisterServer(), S_OK);
  TestKey{HKEY_CLASSES_ROOT, Wide(kServerKey) + L"\\Foreign"}.Create();
  EXPECT_EQ(::DllUnregisterServer(), S_OK);
  EXPECT_FALSE(filterKey.Exists());
  EXPECT_TRUE(serverKey.Exists());
}

TEST_F(SelfRegistration, WritesThePathOfTheModule) {
  for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{260}}) {
    SCOPED_TRACE(length);
    const std::wstring path(length, L'p');
    KUV_IMPORT_HOOK(module, GetModuleFileNameW);
    module.Answer([&](HMODULE handle, wchar_t* buffer, DWORD size) {
      EXPECT_EQ(handle, ::GetModuleHandleW(nullptr));
      EXPECT_EQ(size, 261u);
      std::memcpy(buffer, path.c_str(), (length + 1) * sizeof(wchar_t));
      return static_cast<DWORD>(length);
    });
    EXPECT_EQ(::DllRegisterServer(), S_OK);
    EXPECT_EQ(module.CallCount(), 1u);
    ExpectText(serverKey, L"", path, (length + 1) * 2);
  }
}

TEST_F(SelfRegistration, WritesAnEmptyPathIfTheModuleHasNone) {
  KUV_IMPORT_HOOK(module, GetModuleFileNameW);
  module.Answer([](HMODULE, wchar_t*, DWORD) { return DWORD{0}; });
  EXPECT_EQ(::DllRegisterServer(), S_OK);
  ExpectText(serverKey, L"", L"", 2);
  ExpectText(serverKey, L"ThreadingModel", L"Apartment", 20);
}

// Registers in a registry that only records its calls, any of which may fail.
class RegistrationCalls : public ::testing::Test {
 protected:
  RegistrationCalls() {
    create.Answer([this](HKEY parent, const wchar_t* path, DWORD reserved, wchar_t* className, DWORD options,
                         REGSAM access, SECURITY_ATTRIBUTES* security, HKEY* key,
                         DWORD* disposition) -> LSTATUS {
      EXPECT_EQ(reserved, 0u);
      EXPECT_EQ(className, nullptr);
      EXPECT_EQ(options, 0u);
      EXPECT_EQ(access, 0x20006u);
      EXPECT_EQ(security, nullptr);
      EXPECT_EQ(disposition, nullptr);
      const LSTATUS status = Answer(L"create " + Name(parent) + L" " + path);
      if (status == ERROR_SUCCESS) *key = KeyOf(++keys);
      return status;
    });
    set.Answer([this](HKEY key, const wchar_t* name, DWORD reserved, DWORD type, const BYTE* data,
                      DWORD size) {
      EXPECT_EQ(reserved, 0u);
      EXPECT_EQ(type, 1u);
      const std::wstring text{reinterpret_cast<const wchar_t*>(data), size / 2};
      EXPECT_EQ(text.back(), L'\0');
      return Answer(L"set " + Name(key) + L" '" + name + L"' " + text.c_str() + L" " + std::to_wstring(size));
    });
    close.Answer([this](HKEY key) { return Answer(L"close " + Name(key)); });
    module.Answer([](HMODULE, wchar_t* buffer, DWORD) {
      ::lstrcpyW(buffer, L"C:\\f.dll");
      return DWORD{8};
    });
    remove.Answer(
        [this](HKEY root, const wchar_t* path) { return Answer(L"delete " + Name(root) + L" " + path); });
  }

  // Starts a new record in which the n-th call (the first is 1) returns this status.
  void Fail(std::size_t number, LSTATUS status) {
    failing = number;
    failure = status;
    keys = 0;
    calls.clear();
  }

  std::vector<std::wstring> calls;

 private:
  static HKEY KeyOf(std::uintptr_t number) { return reinterpret_cast<HKEY>(number); }

  static std::wstring Name(HKEY key) {
    if (key == HKEY_CLASSES_ROOT) return L"classes";
    if (key == HKEY_LOCAL_MACHINE) return L"machine";
    return L"key" + std::to_wstring(reinterpret_cast<std::uintptr_t>(key));
  }

  LSTATUS Answer(const std::wstring& call) {
    calls.push_back(call);
    return calls.size() == failing ? failure : ERROR_SUCCESS;
  }

  std::size_t failing = 0;
  LSTATUS failure = ERROR_SUCCESS;
  std::uintptr_t keys = 0;
  KUV_IMPORT_HOOK(create, RegCreateKeyExW);
  KUV_IMPORT_HOOK(set, RegSetValueExW);
  KUV_IMPORT_HOOK(close, RegCloseKey);
  KUV_IMPORT_HOOK(module, GetModuleFileNameW);
  KUV_IMPORT_HOOK(remove, RegDeleteKeyW);
};

// All calls of a registration, in order: three keys are created.
const std::vector<std::wstring> kRegistration = {
    L"create classes " + Wide(kClassKey),
    L"set key1 '' KuvCredFilter 28",
    L"create key1 InprocServer32",
    L"set key2 '' C:\\f.dll 18",
    L"set key2 'ThreadingModel' Apartment 20",
    L"create machine " + Wide(kFilterKey),
    L"set key3 '' KuvCredFilter 28",
    L"close key3",
    L"close key2",
    L"close key1",
};

TEST_F(RegistrationCalls, FailureHasTheEffectOfItsPlace) {
  struct Row {
    const char* failure;
    std::size_t call;
    unsigned result;
    std::ptrdiff_t made;                 // calls of `kRegistration`
    std::vector<std::wstring> closings;  // then these
  };
  const Row rows[] = {
      {"none", 0, 0, 10, {}},
      {"class key", 1, 0x80070005, 1, {}},
      {"default value of the class key", 2, 0, 10, {}},
      {"server key", 3, 0, 3, {L"close key1"}},
      {"path of the module", 4, 0, 4, {L"close key2", L"close key1"}},
      {"threading model", 5, 0, 10, {}},
      {"filter key", 6, 0x80070005, 6, {L"close key2", L"close key1"}},
      {"default value of the filter key", 7, 0, 10, {}},
      {"closing the filter key", 8, 0, 10, {}},
      {"closing the server key", 9, 0, 10, {}},
      {"closing the class key", 10, 0, 10, {}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.failure);
    Fail(row.call, ERROR_ACCESS_DENIED);
    EXPECT_EQ(static_cast<unsigned>(::DllRegisterServer()), row.result);
    std::vector<std::wstring> expected(kRegistration.begin(), kRegistration.begin() + row.made);
    expected.insert(expected.end(), row.closings.begin(), row.closings.end());
    EXPECT_EQ(calls, expected);
  }
}

// A status and the result that it becomes.
struct StatusRow {
  LSTATUS status;
  unsigned result;
};
constexpr StatusRow kStatuses[] = {{2, 0x80070002},       {5, 0x80070005},
                                   {0xFFFF, 0x8007FFFF},  {0x10000, 0x80070000},
                                   {0x12345, 0x80072345}, {0x7FFFFFFF, 0x8007FFFF},
                                   {-1, 0xFFFFFFFF},      {static_cast<LSTATUS>(0x80070020), 0x80070020}};

TEST_F(RegistrationCalls, StatusBecomesAResult) {
  for (const StatusRow& row : kStatuses) {
    for (const std::size_t call : {std::size_t{1}, std::size_t{6}}) {
      SCOPED_TRACE(testing::Message() << "status " << row.status << " of call " << call);
      Fail(call, row.status);
      EXPECT_EQ(static_cast<unsigned>(::DllRegisterServer()), row.result);
    }
  }
}

const std::vector<std::wstring> kUnregistration = {
    L"delete machine " + Wide(kFilterKey),
    L"delete classes " + Wide(kServerKey),
    L"delete classes " + Wide(kClassKey),
};

TEST_F(RegistrationCalls, OfUnregisteringAreMadeInOrder) {
  EXPECT_EQ(::DllUnregisterServer(), S_OK);
  EXPECT_EQ(calls, kUnregistration);
}

TEST_F(RegistrationCalls, OfUnregisteringAreAllMadeAndTheFirstDecides) {
  for (const StatusRow& row : kStatuses) {
    SCOPED_TRACE(row.status);
    Fail(1, row.status);
    EXPECT_EQ(static_cast<unsigned>(::DllUnregisterServer()), row.status == 2 ? 0u : row.result);
    EXPECT_EQ(calls, kUnregistration);
    for (const std::size_t call : {std::size_t{2}, std::size_t{3}}) {
      Fail(call, row.status);
      EXPECT_EQ(::DllUnregisterServer(), S_OK);
      EXPECT_EQ(calls, kUnregistration);
    }
  }
}

}  // namespace
