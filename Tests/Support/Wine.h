#pragma once

#include <windows.h>

namespace KuvTest {

/// Returns whether the platform is Wine, which differs in a few named places.
inline bool RunsUnderWine() {
  return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

/// Returns whether a test may change the machine, for example by a registration: true for the Wine prefix of
/// a build, and on Windows with KUV_DISPOSABLE_MACHINE=1, which marks a machine that is discarded afterward.
inline bool MayChangeTheMachine() {
  return RunsUnderWine() || ::GetEnvironmentVariableW(L"KUV_DISPOSABLE_MACHINE", nullptr, 0) != 0;
}

}  // namespace KuvTest
