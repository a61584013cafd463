#pragma once

#include <windows.h>

namespace Kuv {

/// Returns whether the running version of Windows is at least this one (`VerifyVersionInfoW`). A program
/// without a compatibility manifest sees no version above 6.2.
bool IsAtLeastWindows(DWORD major, DWORD minor);

}  // namespace Kuv
