// The runtime of GCC's stack protector and fortified string functions, replaced for the DLL; see README.md.
// The original acquires a cryptographic provider under the loader lock and writes to a console. This one
// mixes the time, a counter and identifiers, and ends the process at once.
#include <windows.h>

#include <cstdint>
#include <initializer_list>

#include "KuvCredFilter/GccRuntime/FastFail.h"
#include "KuvCredFilter/GccRuntime/ReviewedCompiler.h"

using Kuv::GccRuntime::FastFail;
using Kuv::GccRuntime::FastFailCode;

extern "C" {

// The compiler's own declarations lack the attribute `noreturn`, which a later declaration may add in this
// form.
__attribute__((noreturn)) void __stack_chk_fail();
__attribute__((noreturn)) void __chk_fail();

std::uintptr_t __stack_chk_guard = 0;

void __stack_chk_fail() {
  FastFail(FastFailCode::StackCookieCheckFailure);
}

void __chk_fail() {
  FastFail(FastFailCode::RangeCheckFailure);
}

}  // extern "C"

namespace {

// Runs before every other initializer of the module, and so before any guarded function.
[[gnu::constructor(101)]] void ChooseGuard() {
  FILETIME time;
  LARGE_INTEGER counter;
  ::GetSystemTimeAsFileTime(&time);
  ::QueryPerformanceCounter(&counter);
  std::uint64_t mix = (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
  for (const std::uint64_t number :
       {static_cast<std::uint64_t>(counter.QuadPart), std::uint64_t{::GetCurrentProcessId()},
        std::uint64_t{::GetCurrentThreadId()},
        static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(&mix)),
        static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(&__stack_chk_guard))}) {
    mix = (mix ^ number) * 0x9E3779B97F4A7C15u;
    mix ^= mix >> 29;
  }
  // The lowest byte is zero, so that an overflowing string cannot reproduce the guard.
  __stack_chk_guard = static_cast<std::uintptr_t>(mix) << 8;
}

}  // namespace
