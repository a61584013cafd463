#include "Support/SilentLog.h"

#include <windows.h>
#include <aclapi.h>
#include <shlobj.h>

#include "KuvAuth/ProtectedStorage/ProtectedStorage.h"
#include "KuvAuth/Support/KuvException.h"
#include "SecurityCalls.h"
#include "Support/ImportHook.h"
#include "Support/TempFolder.h"

namespace {

using KuvTest::SecurityCalls;

class SilentProtection : public KuvTest::SilentLogFixture {
 protected:
  SilentProtection() {
    appData.Answer([this](HWND, int, HANDLE, DWORD, wchar_t* path) {
      folder.Path().copy(path, MAX_PATH - 1);
      return S_OK;
    });
  }

  KuvTest::TempFolder folder;
  KuvTest::ImportHook<decltype(&::SHGetFolderPathW)> appData{"SHGetFolderPathW"};
};

TEST_F(SilentProtection, ReportsEachFailedStepOfTheDescriptor) {
  for (std::size_t step = 1; step <= 9; ++step) {
    SCOPED_TRACE(step);
    SecurityCalls calls;
    calls.Fail(step);
    CSecurityDescriptor descriptor;
    EXPECT_THROW(descriptor.GetAdminOnlyDescriptor(), CKuvException);
    EXPECT_EQ(calls.calls.size(), step);
  }
}

TEST_F(SilentProtection, ReturnsNoPathWithoutADescriptor) {
  SecurityCalls calls;
  calls.Fail(1);
  EXPECT_EQ(GetAppDataFilePath(L"kuv.log"), L"");
  EXPECT_EQ(folder.Names(), std::vector<std::wstring>{});
}

TEST_F(SilentProtection, ReturnsThePathOfAFolderThatCannotBeProtected) {
  ASSERT_NE(::CreateDirectoryW(folder.Path(L"Kuvant").c_str(), nullptr), FALSE);
  KUV_IMPORT_HOOK(protect, SetNamedSecurityInfoW);
  protect.Answer([](auto...) -> DWORD { return ERROR_ACCESS_DENIED; });
  EXPECT_EQ(GetAppDataFilePath(L"kuv.log"), folder.Path(L"Kuvant\\kuv.log"));
}

TEST_F(SilentProtection, ReportsAKeyThatCannotBeProtected) {
  EXPECT_FALSE(ProtectSettingsKeys());
  registry.Local().Create();
  registry.Policy().Create();
  EXPECT_TRUE(ProtectSettingsKeys());
  {
    KUV_IMPORT_HOOK(protect, RegSetKeySecurity);
    protect.Answer([](auto...) { return LSTATUS{ERROR_ACCESS_DENIED}; });
    EXPECT_FALSE(ProtectSettingsKeys());
  }
  SecurityCalls calls;
  calls.Fail(1);
  EXPECT_FALSE(ProtectSettingsKeys());
}

}  // namespace
