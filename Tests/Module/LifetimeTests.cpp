// The DLL as a COM server: how it starts, what keeps it loaded, how it unloads, and that no failure of its
// log changes a decision.
#include <gtest/gtest.h>

#include "KuvAuth/Support/UniqueResource.h"
#include "Module/LoggedModule.h"
#include "Support/ImportHook.h"
#include "Support/Providers.h"
#include "Support/RegistrySandbox.h"

namespace {

using namespace KuvTest;

class Lifetime : public ::testing::Test {
 protected:
  RegistrySandbox registry;
  LoggedModule dll;
};

TEST_F(Lifetime, CreatesNoLogBeforeTheFirstFactory) {
  void* object = nullptr;
  EXPECT_EQ(dll.GetClassObject(kKuvProvider, IID_IUnknown, &object), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(dll.GetClassObject(kFilterClassId, IID_IUnknown, nullptr), E_INVALIDARG);
  EXPECT_FALSE(dll.HasLog());
}

TEST_F(Lifetime, RequestForUnknownInterfaceStartsTheLog) {
  void* object = &object;
  EXPECT_EQ(dll.GetClassObject(kFilterClassId, kFilterInterfaceId, &object), E_NOINTERFACE);
  EXPECT_EQ(object, nullptr);
  EXPECT_TRUE(dll.HasLog());
}

TEST_F(Lifetime, FactoryDoesNotKeepTheModuleLoaded) {
  IClassFactory* factory = nullptr;
  ASSERT_EQ(dll.GetClassObject(kFilterClassId, IID_IClassFactory, reinterpret_cast<void**>(&factory)), S_OK);
  EXPECT_EQ(dll.CanUnloadNow(), S_OK);
  factory->LockServer(TRUE);
  EXPECT_EQ(dll.CanUnloadNow(), S_FALSE);
  factory->LockServer(FALSE);
  EXPECT_EQ(dll.CanUnloadNow(), S_OK);
  EXPECT_EQ(factory->Release(), 0u);
}

TEST_F(Lifetime, FilterKeepsTheModuleLoaded) {
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

TEST_F(Lifetime, NextLoadReadsTheSettingsAgain) {
  dll.CreateFilter()->Release();
  ASSERT_TRUE(dll.Unload());
  registry.Local().SetText(L"Host", L"auth.example");
  registry.Local().SetText(L"IKey", L"i");
  registry.Local().SetText(L"SKey", L"s");
  const LoggedModule again;
  ICredentialProviderFilter* const filter = again.CreateFilter();
  GUID provider = kKuvProvider;
  BOOL allow = FALSE;
  EXPECT_EQ(filter->Filter(CPUS_LOGON, 0, &provider, &allow, 1), S_OK);
  EXPECT_EQ(allow, TRUE);
  filter->Release();
}

// Expects the decision on a machine without settings, which a failing log must not change.
void ExpectDecisionWithoutSettings(const LoggedModule& dll) {
  ICredentialProviderFilter* const filter = dll.CreateFilter();
  GUID providers[] = {kKuvProvider, kSmartCardProvider};
  BOOL allow[] = {7, 0};
  EXPECT_EQ(filter->Filter(CPUS_LOGON, 0, providers, allow, 2), S_OK);
  EXPECT_EQ(allow[0], FALSE);
  EXPECT_EQ(allow[1], TRUE);
  EXPECT_EQ(filter->Release(), 0u);
  EXPECT_EQ(dll.CanUnloadNow(), S_OK);
}

TEST_F(Lifetime, FullDiskChangesNoDecision) {
  ImportHook<decltype(&::WriteFile)> write{dll.Get(), "WriteFile"};
  write.Answer([](HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*) {
    ::SetLastError(ERROR_DISK_FULL);
    return FALSE;
  });
  ExpectDecisionWithoutSettings(dll);
  EXPECT_GT(write.CallCount(), 0u);
}

TEST_F(Lifetime, LockedLogFileChangesNoDecision) {
  const std::wstring folder = dll.LogPath().substr(0, dll.LogPath().rfind(L'\\'));
  ASSERT_NE(::CreateDirectoryW(folder.c_str(), nullptr), FALSE);
  const Kuv::UniqueFile held{::CreateFileW(dll.LogPath().c_str(), GENERIC_WRITE, /*dwShareMode=*/0, nullptr,
                                           CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)};
  ASSERT_TRUE(static_cast<bool>(held));
  ExpectDecisionWithoutSettings(dll);
  EXPECT_EQ(::GetFileSize(held.Get(), nullptr), 0u);
}

TEST_F(Lifetime, MissingLogFolderChangesNoDecision) {
  const std::wstring folder = dll.LogPath().substr(0, dll.LogPath().rfind(L'\\'));
  const Kuv::UniqueFile obstacle{::CreateFileW(folder.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                               FILE_ATTRIBUTE_NORMAL, nullptr)};
  ASSERT_TRUE(static_cast<bool>(obstacle));
  ExpectDecisionWithoutSettings(dll);
}

}  // namespace
