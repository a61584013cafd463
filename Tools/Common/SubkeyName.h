#pragma once

#include <windows.h>

#include <string>

namespace Tools {

/// Returns the name of a subkey by its number from 0 on, empty after the last one.
std::wstring SubkeyName(HKEY key, DWORD index);

}  // namespace Tools
