// The relocation of imported data at load time, replaced for the DLL; see README.md. The original makes pages
// writable, and writes to standard error if it fails. The DLL imports no data: the linker option
// --disable-auto-import rejects it.
#include "KuvCredFilter/GccRuntime/ReviewedCompiler.h"

extern "C" void _pei386_runtime_relocator() {}
