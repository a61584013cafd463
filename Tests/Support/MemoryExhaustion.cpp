#include "Support/MemoryExhaustion.h"

#include <cstdlib>
#include <new>

namespace {

constinit std::size_t g_callsUntilFailure = 0;  // 0: memory is not exhausted
constinit bool g_toTheEnd = false;
constinit bool g_struck = false;
constinit std::size_t g_liveBlocks = 0;

bool Fails() noexcept {
  if (g_callsUntilFailure == 0) return false;
  if (g_callsUntilFailure > 1) {
    --g_callsUntilFailure;
    return false;
  }
  if (!g_toTheEnd) g_callsUntilFailure = 0;
  g_struck = true;
  return true;
}

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = Fails() ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc{};
  ++g_liveBlocks;
  return memory;
}

void operator delete(void* memory) noexcept {
  if (memory != nullptr) --g_liveBlocks;
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}

namespace KuvTest {

MemoryExhaustion::MemoryExhaustion(std::size_t firstFailure, Lasts lasts) {
  g_struck = false;
  g_toTheEnd = lasts == Lasts::ToTheEnd;
  g_callsUntilFailure = firstFailure;
}

MemoryExhaustion::~MemoryExhaustion() {
  g_callsUntilFailure = 0;
}

bool MemoryExhaustion::Struck() const {
  return g_struck;
}

std::size_t LiveBlocks() {
  return g_liveBlocks;
}

}  // namespace KuvTest
