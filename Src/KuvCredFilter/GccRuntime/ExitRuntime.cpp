// The list of what runs when the DLL is unloaded, for the DLL alone. The compiler's own takes memory for it
// while the DLL is loaded, and where it gets none the destructors of the module never run.
#include <cstddef>

// The C runtime's table, which nothing here looks into. Its header says that these functions are imported.
struct _onexit_table_t;
using _onexit_t = int(__cdecl*)();

namespace {

// Far more than the module has; the C runtime calls under the loader's lock, so one thread at a time.
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
  if (g_count == kCapacity) return -1;
  g_functions[g_count++] = function;
  return 0;
}

int __cdecl _execute_onexit_table(_onexit_table_t*) {
  while (g_count > 0) g_functions[--g_count]();
  return 0;
}

}  // extern "C"
