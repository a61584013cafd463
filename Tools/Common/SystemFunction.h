#pragma once

#include <windows.h>

namespace Tools {

/// Returns a function of a loaded system module by its name, or null if this version of Windows has none.
template <typename Function>
Function SystemFunction(const wchar_t* module, const char* name) noexcept {
  // The cast goes through void* because the two function types are unrelated.
  return reinterpret_cast<Function>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(module), name)));
}

}  // namespace Tools
