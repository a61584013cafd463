#include "KuvAuth/Support/WindowsVersion.h"

namespace Kuv {

bool IsAtLeastWindows(DWORD major, DWORD minor) {
  OSVERSIONINFOEXW version{};
  version.dwOSVersionInfoSize = sizeof(version);
  version.dwMajorVersion = major;
  version.dwMinorVersion = minor;
  DWORDLONG condition = ::VerSetConditionMask(0, VER_MAJORVERSION, VER_GREATER_EQUAL);
  condition = ::VerSetConditionMask(condition, VER_MINORVERSION, VER_GREATER_EQUAL);
  condition = ::VerSetConditionMask(condition, VER_SERVICEPACKMAJOR, VER_GREATER_EQUAL);
  return ::VerifyVersionInfoW(&version, VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR,
                              condition) != FALSE;
}

}  // namespace Kuv
