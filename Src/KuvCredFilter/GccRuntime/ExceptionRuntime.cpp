// The exception storage of libstdc++, replaced for the DLL; see README.md. The original allocates memory when
// the DLL is loaded, and memory, a semaphore and a thread-local storage index at the first exception. It ends
// the process if it gets none and never releases them. This one has a static reserve and thread-local data
// that the loader manages.
#include <windows.h>

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <limits>

#include "KuvCredFilter/GccRuntime/ExceptionAbi.h"
#include "KuvCredFilter/GccRuntime/ReviewedCompiler.h"

extern "C" {

// The start of the module's thread-local data, and the index of its block in the list of a thread.
extern char _tls_start[];
extern ULONG _tls_index;

}  // extern "C"

namespace {

// GCC cannot declare native thread-local storage, so the variable is placed in the .tls section by hand. The
// loader copies the section for each thread.
[[gnu::section(".tls$KUV"), gnu::used]] __cxxabiv1::__cxa_eh_globals g_template = {nullptr, 0};

// The offset of the pointer to the thread-local blocks in the thread environment block: after the public part
// and four pointers.
constexpr std::size_t kBlocksOffset = sizeof(NT_TIB) + 4 * sizeof(void*);
static_assert(kBlocksOffset == (sizeof(void*) == 8 ? 0x58 : 0x2C));

char* ThreadLocalBlock() noexcept {
  const char* const environment = reinterpret_cast<char*>(::NtCurrentTeb());
  return (*reinterpret_cast<char* const* const*>(environment + kBlocksOffset))[_tls_index];
}

using Kuv::GccRuntime::kRecordSize;
constexpr std::size_t kSlotSize = 512;
constexpr std::size_t kSlotCount = 32;
static_assert(kSlotSize > kRecordSize && kSlotSize % alignof(std::max_align_t) == 0);
// A bit for each slot.
static_assert(kSlotCount == std::numeric_limits<std::uint32_t>::digits);

// Used if `malloc` fails, for as many exceptions at the same time as there are slots.
alignas(std::max_align_t) constinit char g_reserve[kSlotCount][kSlotSize] = {};
constinit std::atomic<std::uint32_t> g_slotsInUse{0};

void* TakeSlot(std::size_t size) noexcept {
  if (size > kSlotSize) return nullptr;
  std::uint32_t used = g_slotsInUse.load();
  for (;;) {
    const auto slot = static_cast<unsigned>(std::countr_one(used));
    if (slot == kSlotCount) return nullptr;
    if (g_slotsInUse.compare_exchange_weak(used, used | (std::uint32_t{1} << slot))) return g_reserve[slot];
  }
}

bool ReleaseSlot(const void* memory) noexcept {
  const std::size_t offset =
      reinterpret_cast<std::uintptr_t>(memory) - reinterpret_cast<std::uintptr_t>(g_reserve);
  if (offset >= sizeof(g_reserve)) return false;
  g_slotsInUse.fetch_and(~(std::uint32_t{1} << (offset / kSlotSize)));
  return true;
}

}  // namespace

namespace __cxxabiv1 {

__cxa_eh_globals* __cxa_get_globals() noexcept {
  const std::uintptr_t offset =
      reinterpret_cast<std::uintptr_t>(&g_template) - reinterpret_cast<std::uintptr_t>(_tls_start);
  return reinterpret_cast<__cxa_eh_globals*>(ThreadLocalBlock() + offset);
}

__cxa_eh_globals* __cxa_get_globals_fast() noexcept {
  return __cxa_get_globals();
}

void* __cxa_allocate_exception(std::size_t size) noexcept {
  const std::size_t whole = kRecordSize + size;
  void* memory = std::malloc(whole);
  if (memory == nullptr) memory = TakeSlot(whole);
  if (memory == nullptr) std::terminate();
  std::memset(memory, 0, kRecordSize);
  return static_cast<char*>(memory) + kRecordSize;
}

void __cxa_free_exception(void* exception) noexcept {
  void* const memory = static_cast<char*>(exception) - kRecordSize;
  if (!ReleaseSlot(memory)) std::free(memory);
}

}  // namespace __cxxabiv1
