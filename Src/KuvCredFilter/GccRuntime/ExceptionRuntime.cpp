// What libstdc++ needs to throw an exception, for the DLL alone. The compiler's own takes memory when the
// DLL is loaded, and memory, a semaphore and a thread local index at the first exception; it ends the process
// where it gets none, and keeps all of it when the DLL is unloaded. This one has its reserve within the DLL,
// and lets the loader provide for each thread, as for any DLL with thread local data.
#include <windows.h>

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>

#include <cxxabi.h>

namespace __cxxabiv1 {

// The two fields of the ABI.
struct __cxa_eh_globals {
  void* caughtExceptions;
  unsigned int uncaughtExceptions;
};

}  // namespace __cxxabiv1

extern "C" {

// The start of the template of the thread local data, and the place of this module's block in a thread's
// list.
extern char _tls_start[];
extern ULONG _tls_index;

}  // extern "C"

namespace {

// The loader copies what stands between the marks of this section. The compiler has no word for it.
[[gnu::section(".tls$KUV"), gnu::used]] __cxxabiv1::__cxa_eh_globals g_template = {nullptr, 0};

// Where the environment block of a thread points at its list of blocks.
#if defined(_WIN64)
constexpr std::size_t kBlocksOffset = 0x58;
#else
constexpr std::size_t kBlocksOffset = 0x2C;
#endif

char* ThreadLocalBlock() noexcept {
  const char* const environment = reinterpret_cast<char*>(::NtCurrentTeb());
  return (*reinterpret_cast<char* const* const*>(environment + kBlocksOffset))[_tls_index];
}

// The runtime keeps its own record in front of an exception. No version needs this much.
constexpr std::size_t kRecordSize = 256;
constexpr std::size_t kSlotSize = 512;
constexpr std::size_t kSlotCount = 32;

// For times without memory: more exceptions than threads throw at once.
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

bool GiveBackSlot(const void* memory) noexcept {
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
  if (!GiveBackSlot(memory)) std::free(memory);
}

}  // namespace __cxxabiv1
