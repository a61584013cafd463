#include "Support/Secrets/SecretTraces.h"

#include <windows.h>

#include <cstring>
#include <stdexcept>

#include "Support/ImportTable.h"

namespace KuvTest {

namespace {

constexpr std::size_t kPart = 4;

// Returns the number of places in the memory that hold a part of the secret.
std::size_t CountParts(const std::string& secret, const void* memory, std::size_t size) {
  const auto* const bytes = static_cast<const char*>(memory);
  std::size_t count = 0;
  for (std::size_t at = 0; at + kPart <= size; ++at) {
    // As no byte of the secret is there twice, its first byte indicates which part it can be.
    const auto* const part = static_cast<const char*>(std::memchr(secret.data(), bytes[at], secret.size()));
    if (part == nullptr || part + kPart > secret.data() + secret.size()) continue;
    if (std::memcmp(part, bytes + at, kPart) == 0) ++count;
  }
  return count;
}

struct Block {
  void* memory;
  std::size_t size;
};

// The blocks that the watched thread has allocated and not freed.
constexpr std::size_t kMaxBlocks = 16384;
Block g_blocks[kMaxBlocks];
constinit std::size_t g_blockCount = 0;
constinit const std::string* g_secret = nullptr;
constinit SecretTraces* g_traces = nullptr;
constinit volatile DWORD g_thread = 0;

bool IsWatched() {
  return ::GetCurrentThreadId() == g_thread;
}

void Add(void* memory, std::size_t size, bool zeroed) {
  if (!IsWatched() || memory == nullptr) return;
  if (g_blockCount == kMaxBlocks) throw std::runtime_error{"too many blocks"};
  // An earlier user of the memory, such as the test, may have left parts there.
  if (!zeroed) std::memset(memory, 0, size);
  g_blocks[g_blockCount++] = {memory, size};
}

void Remove(void* memory) {
  if (!IsWatched()) return;
  for (std::size_t i = g_blockCount; i-- > 0;) {
    if (g_blocks[i].memory != memory) continue;
    if (CountParts(*g_secret, memory, g_blocks[i].size) != 0) ++g_traces->freedBlocks;
    g_blocks[i] = g_blocks[--g_blockCount];
    return;
  }
}

// The functions of the runtime, or of the platform below a runtime that is linked into the program.
void*(__cdecl* originalMalloc)(std::size_t);
void(__cdecl* originalFree)(void*);
LPVOID(WINAPI* originalHeapAlloc)(HANDLE, DWORD, SIZE_T);
BOOL(WINAPI* originalHeapFree)(HANDLE, DWORD, LPVOID);

void* __cdecl WatchedMalloc(std::size_t size) {
  void* const memory = originalMalloc(size);
  Add(memory, size, /*zeroed=*/false);
  return memory;
}

void __cdecl WatchedFree(void* memory) {
  Remove(memory);
  originalFree(memory);
}

LPVOID WINAPI WatchedHeapAlloc(HANDLE heap, DWORD flags, SIZE_T size) {
  LPVOID const memory = originalHeapAlloc(heap, flags, size);
  Add(memory, size, (flags & HEAP_ZERO_MEMORY) != 0);
  return memory;
}

BOOL WINAPI WatchedHeapFree(HANDLE heap, DWORD flags, LPVOID memory) {
  Remove(memory);
  return originalHeapFree(heap, flags, memory);
}

struct Import {
  const char* name;
  void* watched;
  void** original;
};

const Import kImports[] = {
    {"malloc", reinterpret_cast<void*>(&WatchedMalloc), reinterpret_cast<void**>(&originalMalloc)},
    {"free", reinterpret_cast<void*>(&WatchedFree), reinterpret_cast<void**>(&originalFree)},
    {"HeapAlloc", reinterpret_cast<void*>(&WatchedHeapAlloc), reinterpret_cast<void**>(&originalHeapAlloc)},
    {"HeapFree", reinterpret_cast<void*>(&WatchedHeapFree), reinterpret_cast<void**>(&originalHeapFree)},
};

class HeapHooks {
 public:
  HeapHooks() {
    for (const Import& import : kImports) {
      for (void** const entry : FindImports(::GetModuleHandleW(nullptr), import.name)) {
        *import.original = *entry;
        WriteImport(entry, import.watched);
      }
    }
  }
  HeapHooks(const HeapHooks&) = delete;
  HeapHooks& operator=(const HeapHooks&) = delete;
  ~HeapHooks() {
    for (const Import& import : kImports) {
      for (void** const entry : FindImports(::GetModuleHandleW(nullptr), import.name))
        WriteImport(entry, *import.original);
    }
  }
};

// The threads wait in loops, because a call would overwrite the stack below.
struct Run {
  const std::function<void()>* action;
  const char* volatile top = nullptr;
  volatile bool done = false;
  volatile bool searched = false;
};

DWORD WINAPI RunAction(void* parameter) {
  Run& run = *static_cast<Run*>(parameter);
  const char mark = 0;
  run.top = &mark;
  g_thread = ::GetCurrentThreadId();
  (*run.action)();
  run.done = true;
  while (!run.searched) {
  }
  return 0;
}

// Counts the parts from the end of the stack that holds `top` up to there.
std::size_t CountOnStack(const std::string& secret, const char* top) {
  MEMORY_BASIC_INFORMATION region{};
  if (::VirtualQuery(top, &region, sizeof(region)) == 0) throw std::runtime_error{"no stack"};
  const auto* at = static_cast<const char*>(region.AllocationBase);
  std::size_t count = 0;
  while (at < top && ::VirtualQuery(at, &region, sizeof(region)) != 0) {
    const auto* const begin = static_cast<const char*>(region.BaseAddress);
    const char* end = begin + region.RegionSize;
    if (end > top) end = top;
    if (region.State == MEM_COMMIT && region.Protect == PAGE_READWRITE)
      count += CountParts(secret, begin, static_cast<std::size_t>(end - begin));
    at = begin + region.RegionSize;
  }
  return count;
}

}  // namespace

SecretTraces FindSecretTraces(const std::string& secret, const std::function<void()>& action) {
  SecretTraces traces;
  g_secret = &secret;
  g_traces = &traces;
  g_blockCount = 0;
  Run run{&action};
  const HeapHooks hooks;
  const HANDLE thread = ::CreateThread(nullptr, 0, RunAction, &run, 0, nullptr);
  if (thread == nullptr) throw std::runtime_error{"no thread"};
  while (!run.done) ::Sleep(1);
  g_thread = 0;
  traces.onStack = CountOnStack(secret, run.top);
  run.searched = true;
  ::WaitForSingleObject(thread, INFINITE);
  ::CloseHandle(thread);
  return traces;
}

}  // namespace KuvTest
