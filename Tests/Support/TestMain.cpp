#include <windows.h>

#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>

#include "Support/GuardedHeap.h"

namespace {

// Wine reports success for a process that crashed after it had run other threads, and starts its debugger
// first, which takes seconds. This handler ends the process with a failure instead.
LONG WINAPI EndAtCrash(EXCEPTION_POINTERS* crash) {
  std::fprintf(stderr, "Crashed with exception 0x%08lX at %p\n", crash->ExceptionRecord->ExceptionCode,
               crash->ExceptionRecord->ExceptionAddress);
  ::TerminateProcess(::GetCurrentProcess(), EXIT_FAILURE);
  return EXCEPTION_EXECUTE_HANDLER;
}

}  // namespace

int main(int argc, char** argv) {
  ::SetUnhandledExceptionFilter(EndAtCrash);
  KuvTest::GuardedHeap::StartIfAskedFor();
  // Unbuffered, so that what a test printed is not lost if it ends the process.
  static_cast<void>(std::setvbuf(stdout, nullptr, _IONBF, 0));
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
