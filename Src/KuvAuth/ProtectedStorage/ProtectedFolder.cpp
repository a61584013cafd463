#include <windows.h>
#include <aclapi.h>
#include <shlobj.h>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/ProtectedStorage/ProtectedStorage.h"
#include "KuvAuth/ProtectedStorage/SecurityDescriptor.h"
#include "KuvAuth/Support/KuvException.h"
#include "KuvAuth/Support/Text.h"

// After the C++ headers: it deprecates functions that they use.
#include <strsafe.h>

namespace {

constexpr std::size_t kFolderCapacity = 520;

SECURITY_DESCRIPTOR* BuildDescriptor(CSecurityDescriptor& descriptor) {
  try {
    return descriptor.GetAdminOnlyDescriptor();
  } catch (const CKuvException& exception) {
    KUV_LOG(LogLevel::Error, L"Unable to create security descriptor for Kuv AppData folder. {reason %s}",
            exception.GetErrorMessage().c_str());
    return nullptr;
  }
}

bool FindFolder(wchar_t (&folder)[kFolderCapacity]) {
  wchar_t appData[MAX_PATH] = {};
  if (FAILED(::SHGetFolderPathW(/*hwnd=*/nullptr, CSIDL_COMMON_APPDATA, /*hToken=*/nullptr,
                                SHGFP_TYPE_CURRENT, appData))) {
    return false;
  }
  // Cannot truncate: the path has at most 259 units.
  return SUCCEEDED(::StringCchPrintfW(folder, kFolderCapacity, L"%s\\%s", appData, L"Kuvant"));
}

bool FolderExists(const wchar_t* folder) {
  const DWORD attributes = ::GetFileAttributesW(folder);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

void ProtectFolder(wchar_t* folder, const CSecurityDescriptor& descriptor, const std::wstring& fileName) {
  const DWORD status = ::SetNamedSecurityInfoW(
      folder, SE_FILE_OBJECT, PROTECTED_DACL_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
      /*psidOwner=*/nullptr, /*psidGroup=*/nullptr, descriptor.acl, /*pSacl=*/nullptr);
  if (status == ERROR_SUCCESS) return;
  KUV_LOG(LogLevel::Warning,
          L"Failure setting security information to Kuv AppData folder %s for filename '%s'. {error: %d}",
          folder, fileName.c_str(), static_cast<int>(status));
}

bool CreateFolder(const wchar_t* folder, CSecurityDescriptor& descriptor, const std::wstring& fileName) {
  SECURITY_ATTRIBUTES attributes{sizeof(SECURITY_ATTRIBUTES), &descriptor.descriptor,
                                 /*bInheritHandle=*/FALSE};
  if (::CreateDirectoryW(folder, &attributes) != FALSE) return true;
  const DWORD code = ::GetLastError();
  KUV_LOG(LogLevel::Error, L"Failure creating Kuv AppData folder %s for filename '%s'. {error: %d}", folder,
          fileName.c_str(), static_cast<int>(code));
  return false;
}

}  // namespace

std::wstring GetAppDataFilePath(const std::wstring& fileName) {
  CSecurityDescriptor descriptor;
  if (BuildDescriptor(descriptor) == nullptr) return {};

  wchar_t folder[kFolderCapacity] = {};
  if (!FindFolder(folder)) {
    KUV_LOG(LogLevel::Error, L"Unable to get Kuv AppData path for filename '%s'", fileName.c_str());
    return {};
  }
  if (FolderExists(folder)) {
    ProtectFolder(folder, descriptor, fileName);
  } else if (!CreateFolder(folder, descriptor, fileName)) {
    return {};
  }
  return FormatToString(L"%s\\%s", folder, fileName.c_str());
}
