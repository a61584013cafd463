#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>

/// The number of `CKuvCredFilter` objects and server locks. Class factories are not counted.
extern std::atomic<std::int32_t> g_moduleCount;
/// The handle of this module, from `DllMain`.
extern HINSTANCE g_moduleInstance;

/// Increments the module count. Thread-safe.
void DllAddRef();
/// Decrements the module count, even below 0. Thread-safe.
void DllRelease();
