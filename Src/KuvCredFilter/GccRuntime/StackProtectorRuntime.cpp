// The runtime of GCC's stack protector and fortified string functions, for the DLL alone. The
// compiler's own would acquire a cryptographic provider while the loader's lock is held and write to a
// terminal; this one asks the platform for a few numbers and ends the process at once.
#include <windows.h>

#include <cstdint>
#include <initializer_list>

namespace {

constexpr unsigned kStackCookieCheckFailure = 2;
constexpr unsigned kRangeCheckFailure = 8;

// The platform's fast fail: no handler runs, nothing of this process is trusted any more. Windows 7 does not
// know it and reports a fault; there is no way on from here for whoever handles that.
[[noreturn]] void FastFail(unsigned code) {
  asm volatile("int $0x29" : : "c"(code));
  __builtin_trap();
}

}  // namespace

extern "C" {

// The compiler declares them without the attribute, so this is the form that may be added later.
__attribute__((noreturn)) void __stack_chk_fail();
__attribute__((noreturn)) void __chk_fail();

std::uintptr_t __stack_chk_guard = 0;

void __stack_chk_fail() {
  FastFail(kStackCookieCheckFailure);
}

void __chk_fail() {
  FastFail(kRangeCheckFailure);
}

}  // extern "C"

namespace {

// Runs before every other initialiser of the module, and so before any guarded function of it.
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
  // A zero byte in front stops an overflowing text from reproducing the guard.
  __stack_chk_guard = static_cast<std::uintptr_t>(mix) << 8;
}

}  // namespace
