#pragma once

#if defined(KUV_COVERAGE)
extern "C" void __gcov_dump();
#endif

namespace Kuv::GccRuntime {

/// The reason for the end of the process, as defined by the platform (FAST_FAIL_*). Error reporting shows it.
enum class FastFailCode : unsigned {
  StackCookieCheckFailure = 2,
  FatalAppExit = 7,
  RangeCheckFailure = 8,
};

/// Ends the process with STATUS_STACK_BUFFER_OVERRUN, without running any handler (`__fastfail`). Windows 7
/// raises an exception instead; the trap stops a handler from continuing.
[[noreturn]] inline void FastFail(FastFailCode code) {
#if defined(KUV_COVERAGE)
  __gcov_dump();  // What follows runs after the counters are written: GCOVR_EXCL_START
#endif
  asm volatile("int $0x29" : : "c"(static_cast<unsigned>(code)));
  __builtin_trap();
  // GCOVR_EXCL_STOP
}

}  // namespace Kuv::GccRuntime
