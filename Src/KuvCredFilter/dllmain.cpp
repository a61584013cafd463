#include <windows.h>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Startup/LogStartup.h"
#include "KuvCredFilter/ClassFactory.h"
#include "KuvCredFilter/Module.h"

// Runs under the loader lock, so it only stores the handle and, at process detach, stops logging.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void* /*reserved*/) {
  g_moduleInstance = instance;
  if (reason == DLL_PROCESS_DETACH) StopLogging();
  return TRUE;
}

STDAPI DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) {
  KUV_LOG(LogLevel::Trace, "Filter DllGetClassObject (count %d)",
          g_moduleCount.load(std::memory_order_relaxed));
  return CClassFactory_CreateInstance(rclsid, riid, ppv);
}

STDAPI DllCanUnloadNow() {
  KUV_LOG(LogLevel::Trace, "Filter DllCanUnloadNow (count %d)",
          g_moduleCount.load(std::memory_order_relaxed));
  return g_moduleCount.load(std::memory_order_relaxed) == 0 ? S_OK : S_FALSE;
}
