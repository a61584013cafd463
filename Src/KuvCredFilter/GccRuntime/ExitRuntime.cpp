// The list of functions that run when the DLL is unloaded, replaced for the DLL; see README.md. The original
// allocates memory when the DLL is loaded; without memory, the destructors of the module never run.
#include <cstddef>

#include "KuvCredFilter/GccRuntime/FastFail.h"
#include "KuvCredFilter/GccRuntime/ReviewedCompiler.h"

// Declared here, because the header of the C runtime declares these functions as imported. The table is not
// used.
struct _onexit_table_t;
using _onexit_t = int(__cdecl*)();

namespace {

// More than the module needs; a lost destructor would leave the log open. No lock is needed, because the C
// runtime makes these calls under the loader lock.
constexpr std::size_t kCapacity = 32;
constinit _onexit_t g_functions[kCapacity] = {};
constinit std::size_t g_count = 0;

}  // namespace

extern "C" {

int __cdecl _initialize_onexit_table(_onexit_table_t*) {
  g_count = 0;
  return 0;
}

int __cdecl _register_onexit_function(_onexit_table_t*, _onexit_t function) {
  if (g_count == kCapacity) {
    Kuv::GccRuntime::FastFail(Kuv::GccRuntime::FastFailCode::FatalAppExit);
  }
  g_functions[g_count++] = function;
  return 0;
}

int __cdecl _execute_onexit_table(_onexit_table_t*) {
  while (g_count > 0) g_functions[--g_count]();
  return 0;
}

}  // extern "C"
