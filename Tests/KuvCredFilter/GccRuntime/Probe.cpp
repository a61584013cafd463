// A DLL with the runtime of the filter DLL, which offers what no input makes the filter DLL do.
#include "KuvCredFilter/GccRuntime/Probe.h"

#include <windows.h>

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <utility>

#include <cxxabi.h>

extern "C" [[noreturn]] void __chk_fail();

namespace {

using KuvTest::RuntimeProbe;

[[gnu::noinline, noreturn]] void Throw(int value) {
  throw value;
}

void ThrowOutOfNoexcept() noexcept {
  Throw(1);
}

int NestFrom(int level, int depth) {
  if (level > depth) return 0;
  try {
    Throw(level);
  } catch (const int& caught) {
    const int inner = NestFrom(level + 1, depth);
    if (inner != 0) return inner;
    return caught == level ? 0 : level;
  }
}

std::uint32_t* g_order = nullptr;

template <int Index>
void AddToOrder() {
  *g_order = *g_order * 31 + Index;
}

constexpr int kMostFunctions = 40;

template <std::size_t... Index>
void Register(int count, std::index_sequence<Index...>) {
  // Static, so that no check of the stack ends the process in place of the full table.
  static constexpr void (*kFunctions[])() = {&AddToOrder<Index + 1>...};
  for (int i = 0; i < count; ++i) std::atexit(kFunctions[i]);
}

constexpr RuntimeProbe kProbe = {
    .terminate = [] { std::terminate(); },
    .abort = [] { std::abort(); },
    .throwOutOfNoexcept = [] { ThrowOutOfNoexcept(); },
    .failRangeCheck = [] { __chk_fail(); },
    .allocateException = [](std::size_t size) { return abi::__cxa_allocate_exception(size); },
    .freeException = [](void* exception) { abi::__cxa_free_exception(exception); },
    .nestExceptions = [](int depth) { return NestFrom(1, depth); },
    .registerAtExit =
        [](int count, std::uint32_t* order) {
          g_order = order;
          Register(count, std::make_index_sequence<kMostFunctions>{});
        },
};

}  // namespace

extern "C" __declspec(dllexport) const RuntimeProbe* Probe() {
  return &kProbe;
}
