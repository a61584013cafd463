#pragma once

#include <windows.h>

namespace KuvTest {

/// Whether the platform under the test is Wine, which differs in a few named places.
inline bool RunsUnderWine() {
  return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

/// Whether a test may change the machine itself, as a registration does: the prefix of a build under Wine is
/// there for that; on Windows KUV_DISPOSABLE_MACHINE=1 says so of a machine that is thrown away afterwards.
inline bool MayChangeTheMachine() {
  return RunsUnderWine() || ::GetEnvironmentVariableW(L"KUV_DISPOSABLE_MACHINE", nullptr, 0) != 0;
}

}  // namespace KuvTest
