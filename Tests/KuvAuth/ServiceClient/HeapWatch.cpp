#include "HeapWatch.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace {

constinit std::size_t g_largest = static_cast<std::size_t>(-1);
constinit std::size_t g_refused = 0;
constinit std::size_t g_count = 0;
constinit const void* g_watched = nullptr;
std::function<void()> g_onFree;

}  // namespace

void* operator new(std::size_t size) {
  if (size > g_largest) {
    g_refused = size;
    throw std::bad_alloc{};
  }
  ++g_count;
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc{};
  return block;
}

void operator delete(void* block) noexcept {
  if (block != nullptr && block == g_watched) {
    g_watched = nullptr;
    std::exchange(g_onFree, nullptr)();
  }
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
  ::operator delete(block);
}

namespace KuvTest {

AllocationCount::AllocationCount(std::size_t largest) {
  g_count = 0;
  g_refused = 0;
  g_largest = largest;
}

AllocationCount::~AllocationCount() {
  g_largest = static_cast<std::size_t>(-1);
}

std::size_t AllocationCount::Count() const {
  return g_count;
}

std::size_t AllocationCount::Refused() const {
  return g_refused;
}

void WatchBlock(const void* block, std::function<void()> onFree) {
  g_onFree = std::move(onFree);
  g_watched = block;
}

}  // namespace KuvTest
