#include "Support/AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <iterator>
#include <new>

#include "Support/ImportTable.h"

namespace {

std::atomic<bool> watching{false};
std::atomic<bool> failed{false};
std::atomic<std::size_t> count{0};
std::atomic<std::size_t> newCount{0};
std::atomic<std::size_t> failingNew{0};

void Count() {
  if (watching) ++count;
}

void* Allocate(std::size_t size) {
  if (watching) {
    ++count;
    if (++newCount == failingNew) {
      failed = true;
      throw std::bad_alloc{};
    }
  }
  if (void* const memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc{};
}

// The functions of the runtime and the platform below `operator new`, as the import table holds them.

void* (*originalMalloc)(std::size_t);
void* (*originalCalloc)(std::size_t, std::size_t);
void* (*originalRealloc)(void*, std::size_t);
LPVOID(WINAPI* originalHeapAlloc)(HANDLE, DWORD, SIZE_T);

void* CountedMalloc(std::size_t size) {
  Count();
  return originalMalloc(size);
}

void* CountedCalloc(std::size_t number, std::size_t size) {
  Count();
  return originalCalloc(number, size);
}

void* CountedRealloc(void* memory, std::size_t size) {
  Count();
  return originalRealloc(memory, size);
}

LPVOID WINAPI CountedHeapAlloc(HANDLE heap, DWORD flags, SIZE_T size) {
  Count();
  return originalHeapAlloc(heap, flags, size);
}

struct Import {
  const char* name;
  void** original;
  void* counted;
};

const Import kImports[] = {
    {"malloc", reinterpret_cast<void**>(&originalMalloc), reinterpret_cast<void*>(&CountedMalloc)},
    {"calloc", reinterpret_cast<void**>(&originalCalloc), reinterpret_cast<void*>(&CountedCalloc)},
    {"realloc", reinterpret_cast<void**>(&originalRealloc), reinterpret_cast<void*>(&CountedRealloc)},
    {"HeapAlloc", reinterpret_cast<void**>(&originalHeapAlloc), reinterpret_cast<void*>(&CountedHeapAlloc)},
};

void HookImports() {
  for (const Import& import : kImports) {
    for (void** const entry : KuvTest::FindImports(::GetModuleHandleW(nullptr), import.name)) {
      *import.original = *entry;
      KuvTest::WriteImport(entry, import.counted);
    }
  }
}

void RestoreImports() {
  for (const Import& import : kImports) {
    for (void** const entry : KuvTest::FindImports(::GetModuleHandleW(nullptr), import.name)) {
      KuvTest::WriteImport(entry, *import.original);
    }
  }
}

}  // namespace

void* operator new(std::size_t size) {
  return Allocate(size);
}

void* operator new[](std::size_t size) {
  return Allocate(size);
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

void operator delete[](void* memory) noexcept {
  std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace KuvTest {

AllocationCounter::AllocationCounter(std::size_t failing) {
  HookImports();
  count = 0;
  newCount = 0;
  failingNew = failing;
  failed = false;
  watching = true;
}

AllocationCounter::~AllocationCounter() {
  watching = false;
  RestoreImports();
}

std::size_t AllocationCounter::Stop() {
  watching = false;
  return count;
}

bool AllocationCounter::HasFailed() const {
  return failed;
}

}  // namespace KuvTest
