// A log that takes nothing changes no result.
#include <windows.h>
#include <aclapi.h>
#include <shlobj.h>

#include <gtest/gtest.h>

#include "KuvAuth/ProtectedStorage/ProtectedStorage.h"
#include "KuvAuth/Support/KuvException.h"
#include "SecurityCalls.h"
#include "Support/ImportHook.h"
#include "Support/LogCapture.h"
#include "Support/RegistrySandbox.h"
#include "Support/TempFolder.h"

namespace {

using KuvTest::SecurityCalls;

class SilentProtection : public ::testing::Test {
 protected:
  SilentProtection() {
    appData.Answer([this](HWND, int, HANDLE, DWORD, wchar_t* path) {
      folder.Path().copy(path, MAX_PATH - 1);
      return S_OK;
    });
  }

  KuvTest::LogCapture log{LogLevel::Critical};
  KuvTest::TempFolder folder;
  KuvTest::ImportHook<decltype(&::SHGetFolderPathW)> appData{"SHGetFolderPathW"};
};

TEST_F(SilentProtection, TellsEachStepOfTheDescriptorThatFails) {
  for (std::size_t step = 1; step <= 9; ++step) {
    SCOPED_TRACE(step);
    SecurityCalls calls;
    calls.Fail(step);
    CSecurityDescriptor descriptor;
    EXPECT_THROW(descriptor.GetAdminOnlyDescriptor(), CKuvException);
    EXPECT_EQ(calls.calls.size(), step);
  }
  EXPECT_TRUE(log.RawLines().empty());
}

TEST_F(SilentProtection, GivesNoPathWithoutADescriptor) {
  SecurityCalls calls;
  calls.Fail(1);
  EXPECT_EQ(GetAppDataFilePath(L"kuv.log"), L"");
  EXPECT_EQ(folder.Names(), std::vector<std::wstring>{});
  EXPECT_TRUE(log.RawLines().empty());
}

TEST_F(SilentProtection, GoesOnWithAFolderThatCannotBeProtected) {
  ASSERT_NE(::CreateDirectoryW(folder.Path(L"Kuvant").c_str(), nullptr), FALSE);
  KUV_IMPORT_HOOK(protect, SetNamedSecurityInfoW);
  protect.Answer([](wchar_t*, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID, PSID, ACL*, ACL*) -> DWORD {
    return ERROR_ACCESS_DENIED;
  });
  EXPECT_EQ(GetAppDataFilePath(L"kuv.log"), folder.Path(L"Kuvant\\kuv.log"));
  EXPECT_TRUE(log.RawLines().empty());
}

TEST_F(SilentProtection, TellsAKeyThatCannotBeProtected) {
  const KuvTest::RegistrySandbox registry;
  EXPECT_FALSE(ProtectSettingsKeys());
  registry.Local().Create();
  registry.Policy().Create();
  EXPECT_TRUE(ProtectSettingsKeys());
  {
    KUV_IMPORT_HOOK(protect, RegSetKeySecurity);
    protect.Answer([](HKEY, SECURITY_INFORMATION, void*) -> LSTATUS { return ERROR_ACCESS_DENIED; });
    EXPECT_FALSE(ProtectSettingsKeys());
  }
  SecurityCalls calls;
  calls.Fail(1);
  EXPECT_FALSE(ProtectSettingsKeys());
  EXPECT_TRUE(log.RawLines().empty());
}

}  // namespace
