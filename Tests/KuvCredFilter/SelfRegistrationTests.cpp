#include <windows.h>
#include <objbase.h>
#include <olectl.h>

#include <cstring>

#include "KuvAuth/Support/UniqueResource.h"
#include "KuvCredFilter/Identifiers.h"
#include "KuvCredFilter/Module.h"
#include "KuvCredFilter/Providers.h"
#include "Support/ImportHook.h"
#include "Support/KuvFixture.h"

namespace {

using namespace KuvTest;

constexpr wchar_t kClassKey[] = L"CLSID\\{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}";
constexpr wchar_t kServerKey[] = L"CLSID\\{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}\\InprocServer32";
constexpr wchar_t kFiltersKey[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Provider Filters";
constexpr wchar_t kFilterKey[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Provider Filters\\"
    L"{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}";

// Registers for real, in a registry of the test's own.
class SelfRegistration : public KuvFixture {
 protected:
  SelfRegistration() { g_moduleInstance = ::GetModuleHandleW(nullptr); }
  ~SelfRegistration() override { g_moduleInstance = nullptr; }

  static std::wstring ModulePath() {
    wchar_t path[1024] = {};
    return {path, ::GetModuleFileNameW(nullptr, path, 1024)};
  }

  // The value is this text, of type REG_SZ, with its terminator, in so many bytes.
  static void ExpectText(const TestKey& key, const wchar_t* name, const std::wstring& text,
                         std::size_t size) {
    DWORD type = 0;
    const std::vector<std::uint8_t> bytes = key.GetBytes(name, type);
    EXPECT_EQ(type, 1u);
    ASSERT_EQ(bytes.size(), size);
    ASSERT_EQ(size, (text.size() + 1) * 2);
    EXPECT_EQ(std::memcmp(bytes.data(), text.c_str(), size), 0);
  }

  static void ExpectHolds(HKEY root, const wchar_t* path, DWORD subkeys, DWORD values) {
    Kuv::UniqueRegistryKey key;
    ASSERT_EQ(::RegOpenKeyExW(root, path, 0, KEY_READ, key.Put()), ERROR_SUCCESS);
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
    ExpectHolds(HKEY_CLASSES_ROOT, L"CLSID", 1, 0);
    ExpectHolds(HKEY_LOCAL_MACHINE, kFiltersKey, 1, 0);
  }

  const TestKey classKey{HKEY_CLASSES_ROOT, kClassKey};
  const TestKey serverKey{HKEY_CLASSES_ROOT, kServerKey};
  const TestKey filterKey{HKEY_LOCAL_MACHINE, kFilterKey};
};

TEST_F(SelfRegistration, EntersTheClassAndTheFilter) {
  EXPECT_EQ(::DllRegisterServer(), S_OK);
  ExpectRegistered();
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(SelfRegistration, MayBeRepeated) {
  EXPECT_EQ(::DllRegisterServer(), S_OK);
  EXPECT_EQ(::DllRegisterServer(), S_OK);
  ExpectRegistered();
}

TEST_F(SelfRegistration, MendsWhatWasThere) {
  serverKey.SetText(L"", L"C:\\Old\\Filter.dll");
  serverKey.SetDword(L"ThreadingModel", 3);
  filterKey.SetText(L"", L"Old");
  EXPECT_EQ(::DllRegisterServer(), S_OK);
  ExpectRegistered();
}

TEST_F(SelfRegistration, UsesTheTextOfTheClassIdentifier) {
  ASSERT_EQ(::DllRegisterServer(), S_OK);
  for (const auto& [root, path] :
       {std::pair{HKEY_CLASSES_ROOT, L"CLSID"}, std::pair{HKEY_LOCAL_MACHINE, kFiltersKey + 0}}) {
    Kuv::UniqueRegistryKey key;
    ASSERT_EQ(::RegOpenKeyExW(root, path, 0, KEY_READ, key.Put()), ERROR_SUCCESS);
    wchar_t name[64] = {};
    DWORD length = 64;
    ASSERT_EQ(::RegEnumKeyExW(key.Get(), 0, name, &length, nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    wchar_t text[39] = {};
    ::StringFromGUID2(CLSID_KuvCredFilter, text, 39);
    EXPECT_STREQ(name, text);
    EXPECT_STREQ(name, L"{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}");
  }
}

TEST_F(SelfRegistration, IsTakenBack) {
  const TestKey otherClass{HKEY_CLASSES_ROOT, L"CLSID\\{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}"};
  const TestKey otherFilter{HKEY_LOCAL_MACHINE,
                            std::wstring{kFiltersKey} + L"\\{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}"};
  otherClass.SetText(L"", L"KuvCredProv");
  otherFilter.SetText(L"", L"Other");
  ASSERT_EQ(::DllRegisterServer(), S_OK);
  EXPECT_EQ(::DllUnregisterServer(), S_OK);
  EXPECT_FALSE(classKey.Exists());
  EXPECT_FALSE(serverKey.Exists());
  EXPECT_FALSE(filterKey.Exists());
  ExpectHolds(HKEY_CLASSES_ROOT, L"CLSID", 1, 0);
  ExpectHolds(HKEY_LOCAL_MACHINE, kFiltersKey, 1, 0);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(SelfRegistration, TakingBackNothingSucceeds) {
  EXPECT_EQ(::DllUnregisterServer(), S_OK);
  ASSERT_EQ(::DllRegisterServer(), S_OK);
  EXPECT_EQ(::DllUnregisterServer(), S_OK);
  EXPECT_EQ(::DllUnregisterServer(), S_OK);
}

TEST_F(SelfRegistration, IsTakenBackAsFarAsItGoes) {
  ASSERT_EQ(::DllRegisterServer(), S_OK);
  TestKey{HKEY_CLASSES_ROOT, std::wstring{kServerKey} + L"\\Foreign"}.Create();
  EXPECT_EQ(::DllUnregisterServer(), S_OK);
  EXPECT_FALSE(filterKey.Exists());
  EXPECT_TRUE(serverKey.Exists());
}

TEST_F(SelfRegistration, EntersThePathOfTheModuleAsLoaded) {
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

TEST_F(SelfRegistration, EntersNoPathIfTheModuleHasNone) {
  KUV_IMPORT_HOOK(module, GetModuleFileNameW);
  module.Answer([](HMODULE, wchar_t*, DWORD) { return DWORD{0}; });
  EXPECT_EQ(::DllRegisterServer(), S_OK);
  ExpectText(serverKey, L"", L"", 2);
  ExpectText(serverKey, L"ThreadingModel", L"Apartment", 20);
}

// Registers in a registry that exists as a record of its calls, any of which may fail.
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

  // The call of that number (the first is 1) gives the status from here on; the record starts anew.
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

// All calls of a registration, in order: three keys are made.
constexpr const wchar_t* kRegistration[] = {
    L"create classes CLSID\\{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}",
    L"set key1 '' KuvCredFilter 28",
    L"create key1 InprocServer32",
    L"set key2 '' C:\\f.dll 18",
    L"set key2 'ThreadingModel' Apartment 20",
    L"create machine SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Provider "
    L"Filters\\"
    L"{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}",
    L"set key3 '' KuvCredFilter 28",
    L"close key3",
    L"close key2",
    L"close key1",
};

std::vector<std::wstring> FirstCalls(std::size_t count, const std::vector<std::wstring>& closings) {
  std::vector<std::wstring> calls{kRegistration, kRegistration + count};
  calls.insert(calls.end(), closings.begin(), closings.end());
  return calls;
}

TEST_F(RegistrationCalls, AreMadeInOrder) {
  EXPECT_EQ(::DllRegisterServer(), S_OK);
  EXPECT_EQ(calls, FirstCalls(10, {}));
}

TEST_F(RegistrationCalls, AFailureDoesWhatItsPlaceSays) {
  struct Row {
    const char* failure;
    std::size_t call;
    unsigned result;
    std::vector<std::wstring> calls;
  };
  const Row rows[] = {
      {"class key", 1, 0x80070005, FirstCalls(1, {})},
      {"default value of the class key", 2, 0, FirstCalls(10, {})},
      {"server key", 3, 0, FirstCalls(3, {L"close key1"})},
      {"path of the module", 4, 0, FirstCalls(4, {L"close key2", L"close key1"})},
      {"threading model", 5, 0, FirstCalls(10, {})},
      {"filter key", 6, 0x80070005, FirstCalls(6, {L"close key2", L"close key1"})},
      {"default value of the filter key", 7, 0, FirstCalls(10, {})},
      {"closing the filter key", 8, 0, FirstCalls(10, {})},
      {"closing the server key", 9, 0, FirstCalls(10, {})},
      {"closing the class key", 10, 0, FirstCalls(10, {})},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.failure);
    Fail(row.call, ERROR_ACCESS_DENIED);
    EXPECT_EQ(static_cast<unsigned>(::DllRegisterServer()), row.result);
    EXPECT_EQ(calls, row.calls);
  }
}

// A status as it comes and the result that it becomes.
struct StatusRow {
  LSTATUS status;
  unsigned result;
};
constexpr StatusRow kStatuses[] = {{2, 0x80070002},       {5, 0x80070005},
                                   {0xFFFF, 0x8007FFFF},  {0x10000, 0x80070000},
                                   {0x12345, 0x80072345}, {0x7FFFFFFF, 0x8007FFFF},
                                   {-1, 0xFFFFFFFF},      {static_cast<LSTATUS>(0x80070020), 0x80070020}};

TEST_F(RegistrationCalls, AStatusBecomesAResult) {
  for (const StatusRow& row : kStatuses) {
    for (const std::size_t call : {std::size_t{1}, std::size_t{6}}) {
      SCOPED_TRACE(testing::Message() << "status " << row.status << " of call " << call);
      Fail(call, row.status);
      EXPECT_EQ(static_cast<unsigned>(::DllRegisterServer()), row.result);
    }
  }
}

const std::vector<std::wstring> kRemoval = {
    L"delete machine SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Provider "
    L"Filters\\"
    L"{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}",
    L"delete classes CLSID\\{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}\\InprocServer32",
    L"delete classes CLSID\\{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}",
};

TEST_F(RegistrationCalls, OfARemovalAreMadeInOrder) {
  EXPECT_EQ(::DllUnregisterServer(), S_OK);
  EXPECT_EQ(calls, kRemoval);
}

TEST_F(RegistrationCalls, OfARemovalAreAllMadeAndTheFirstOneDecides) {
  for (const StatusRow& row : kStatuses) {
    SCOPED_TRACE(row.status);
    Fail(1, row.status);
    EXPECT_EQ(static_cast<unsigned>(::DllUnregisterServer()), row.status == 2 ? 0u : row.result);
    EXPECT_EQ(calls, kRemoval);
    for (const std::size_t call : {std::size_t{2}, std::size_t{3}}) {
      Fail(call, row.status);
      EXPECT_EQ(::DllUnregisterServer(), S_OK);
      EXPECT_EQ(calls, kRemoval);
    }
  }
}

}  // namespace
