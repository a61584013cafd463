// The end of the process after a fatal error, replaced for the DLL; see README.md. The original handler of
// `std::terminate` writes the name of the exception to standard error, for which it links a demangler and
// formatters, and `abort` may show a message box. These end the process at once.
#include <cstdlib>
#include <exception>

#include "KuvCredFilter/GccRuntime/FastFail.h"
#include "KuvCredFilter/GccRuntime/ReviewedCompiler.h"

using Kuv::GccRuntime::FastFail;
using Kuv::GccRuntime::FastFailCode;

// The handler that libstdc++ installs as the default.
void __gnu_cxx::__verbose_terminate_handler() {
  FastFail(FastFailCode::FatalAppExit);
}

// libstdc++ and the unwinder call it where they cannot continue.
extern "C" void abort() {
  FastFail(FastFailCode::FatalAppExit);
}
