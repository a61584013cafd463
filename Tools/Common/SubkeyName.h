#pragma once

#include <windows.h>

#include <string>

namespace Tools {

/// Returns the name of the subkey with this index, which starts at 0, or an empty text after the last one.
std::wstring SubkeyName(HKEY key, DWORD index);

}  // namespace Tools
