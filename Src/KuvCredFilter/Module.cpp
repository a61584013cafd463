#include "KuvCredFilter/Module.h"

#include "KuvAuth/Logging/LogFront.h"

constinit std::atomic<std::int32_t> g_moduleCount{0};
constinit HINSTANCE g_moduleInstance = nullptr;

// The messages read the count after the change, so they may show a later change of another thread.

void DllAddRef() {
  g_moduleCount.fetch_add(1);
  KUV_LOG(LogLevel::Trace, "Filter DllAddRef (count %d)", g_moduleCount.load(std::memory_order_relaxed));
}

void DllRelease() {
  g_moduleCount.fetch_sub(1);
  KUV_LOG(LogLevel::Trace, "Filter DllRelease (count %d)", g_moduleCount.load(std::memory_order_relaxed));
}
