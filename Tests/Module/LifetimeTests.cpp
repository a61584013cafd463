// The DLL as a COM server: how it comes up, what holds it, how it goes, and that no trouble with its log
// changes an answer.
#include <gtest/gtest.h>

#include "KuvAuth/Support/UniqueResource.h"
#include "KuvCredFilter/Identifiers.h"
#include "Module/LoadedFilter.h"
#include "Support/RegistrySandbox.h"

namespace {

using KuvTest::ImportHook;
using KuvTest::LoadedFilter;
using KuvTest::RegistrySandbox;

class Lifetime : public ::testing::Test {
 protected:
  RegistrySandbox registry;
  LoadedFilter dll;
};

TEST_F(Lifetime, NothingIsLoggedBeforeTheFirstFactory) {
  void* object = nullptr;
  EXPECT_EQ(dll.GetClassObject(CLSID_KuvCredProv, IID_IUnknown, &object), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(dll.GetClassObject(CLSID_KuvCredFilter, IID_IUnknown, nullptr), E_INVALIDARG);
  EXPECT_EQ(::GetFileAttributesW(dll.LogPath().c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST_F(Lifetime, AnUnknownInterfaceStartsTheLogAllTheSame) {
  void* object = &object;
  EXPECT_EQ(dll.GetClassObject(CLSID_KuvCredFilter, IID_ICredentialProviderFilter, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_NE(::GetFileAttributesW(dll.LogPath().c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST_F(Lifetime, AFactoryDoesNotHoldTheModule) {
  IClassFactory* factory = nullptr;
  ASSERT_EQ(dll.GetClassObject(CLSID_KuvCredFilter, IID_IClassFactory, reinterpret_cast<void**>(&factory)),
            S_OK);
  EXPECT_EQ(dll.CanUnloadNow(), S_OK);
  factory->LockServer(TRUE);
  EXPECT_EQ(dll.CanUnloadNow(), S_FALSE);
  factory->LockServer(FALSE);
  EXPECT_EQ(dll.CanUnloadNow(), S_OK);
  EXPECT_EQ(factory->Release(), 0u);
}

TEST_F(Lifetime, AFilterHoldsTheModule) {
  ICredentialProviderFilter* const filter = dll.CreateFilter();
  EXPECT_EQ(dll.CanUnloadNow(), S_FALSE);
  EXPECT_EQ(filter->Release(), 0u);
  EXPECT_EQ(dll.CanUnloadNow(), S_OK);
}

TEST_F(Lifetime, UnloadingClosesTheLogFile) {
  dll.CreateFilter()->Release();
  ASSERT_TRUE(dll.Unload());
  const Kuv::UniqueFile file{::CreateFileW(dll.LogPath().c_str(), GENERIC_READ, /*dwShareMode=*/0, nullptr,
                                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)};
  EXPECT_TRUE(static_cast<bool>(file));
}

TEST_F(Lifetime, AFreshLoadReadsTheSettingsAnew) {
  dll.CreateFilter()->Release();
  ASSERT_TRUE(dll.Unload());
  registry.Local().SetText(L"Host", L"auth.example");
  registry.Local().SetText(L"IKey", L"i");
  registry.Local().SetText(L"SKey", L"s");
  const LoadedFilter again;
  ICredentialProviderFilter* const filter = again.CreateFilter();
  GUID provider = CLSID_KuvCredProv;
  BOOL allow = FALSE;
  EXPECT_EQ(filter->Filter(CPUS_LOGON, 0, &provider, &allow, 1), S_OK);
  EXPECT_EQ(allow, TRUE);
  filter->Release();
}

// What a broken log must not change: an unconfigured machine loses the second factor, and nothing else.
void ExpectFallback(const LoadedFilter& dll) {
  ICredentialProviderFilter* const filter = dll.CreateFilter();
  GUID providers[] = {CLSID_KuvCredProv, CLSID_SmartcardCredentialProvider};
  BOOL allow[] = {7, 0};
  EXPECT_EQ(filter->Filter(CPUS_LOGON, 0, providers, allow, 2), S_OK);
  EXPECT_EQ(allow[0], FALSE);
  EXPECT_EQ(allow[1], TRUE);
  EXPECT_EQ(filter->Release(), 0u);
  EXPECT_EQ(dll.CanUnloadNow(), S_OK);
}

TEST_F(Lifetime, AFullDiskChangesNoAnswer) {
  ImportHook<decltype(&::WriteFile)> write{dll.Module(), "WriteFile"};
  write.Answer([](HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*) {
    ::SetLastError(ERROR_DISK_FULL);
    return FALSE;
  });
  ExpectFallback(dll);
  EXPECT_GT(write.CallCount(), 0u);
}

TEST_F(Lifetime, ALogFileThatSomebodyHoldsChangesNoAnswer) {
  const std::wstring folder = dll.LogPath().substr(0, dll.LogPath().rfind(L'\\'));
  ASSERT_NE(::CreateDirectoryW(folder.c_str(), nullptr), FALSE);
  const Kuv::UniqueFile held{::CreateFileW(dll.LogPath().c_str(), GENERIC_WRITE, /*dwShareMode=*/0, nullptr,
                                           CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)};
  ASSERT_TRUE(static_cast<bool>(held));
  ExpectFallback(dll);
  EXPECT_EQ(::GetFileSize(held.Get(), nullptr), 0u);
}

TEST_F(Lifetime, AFolderThatCannotBeMadeChangesNoAnswer) {
  const std::wstring folder = dll.LogPath().substr(0, dll.LogPath().rfind(L'\\'));
  const Kuv::UniqueFile inTheWay{::CreateFileW(folder.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                               FILE_ATTRIBUTE_NORMAL, nullptr)};
  ASSERT_TRUE(static_cast<bool>(inTheWay));
  ExpectFallback(dll);
}

}  // namespace
