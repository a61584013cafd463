#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>

/// Live `CKuvCredFilter` objects and server locks; class factories do not count.
extern std::atomic<std::int32_t> g_moduleCount;
/// The handle of this module, as the platform gave it to `DllMain`.
extern HINSTANCE g_moduleInstance;

/// Raises the module count. Any thread may call.
void DllAddRef();
/// Lowers the module count, which is not kept from going below 0. Any thread may call.
void DllRelease();
