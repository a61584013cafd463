#include "Support/GuardedHeap.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <iterator>

#include "Support/ImportTable.h"

namespace KuvTest {

namespace {

constexpr std::size_t kPage = 4096;
constexpr std::size_t kAlignment = 16;
constexpr unsigned char kFresh = 0xCD;
constexpr unsigned char kSurroundings = 0xFD;

// Address space is reserved in large pieces and never released; the pages of a block are committed.
constexpr std::size_t kArenaPages = std::size_t{1} << 20;
constexpr std::size_t kMaxArenas = 64;
constexpr std::uint64_t kFreed = UINT64_MAX;

struct Arena {
  BYTE* memory = nullptr;
  // For each page: 0, or one more than the size of the block that starts in it, or kFreed.
  std::uint64_t* blocks = nullptr;
};

constinit Arena g_arenas[kMaxArenas];
constinit std::size_t g_arenaCount = 0;
constinit std::size_t g_usedPages = kArenaPages;
constinit bool g_on = false;
SRWLOCK g_lock = SRWLOCK_INIT;

class Lock {
 public:
  Lock() { ::AcquireSRWLockExclusive(&g_lock); }
  ~Lock() { ::ReleaseSRWLockExclusive(&g_lock); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
};

[[noreturn]] void End(const char* reason, const void* block, std::size_t size) {
  std::fprintf(stderr, "Guarded heap: %s, block of %llu bytes at %p\n", reason,
               static_cast<unsigned long long>(size), block);
  ::TerminateProcess(::GetCurrentProcess(), EXIT_FAILURE);
  std::abort();
}

std::size_t PagesFor(std::size_t size) {
  return (size + kPage - 1) / kPage;
}

std::size_t AlignmentFor(std::size_t size) {
  return size >= kAlignment ? kAlignment : size & (~size + 1);
}

bool AddArena() {
  if (g_arenaCount == kMaxArenas) return false;
  Arena& arena = g_arenas[g_arenaCount];
  arena.memory = static_cast<BYTE*>(::VirtualAlloc(nullptr, kArenaPages * kPage, MEM_RESERVE, PAGE_NOACCESS));
  arena.blocks = static_cast<std::uint64_t*>(
      ::VirtualAlloc(nullptr, kArenaPages * sizeof(*arena.blocks), MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
  if (arena.memory == nullptr || arena.blocks == nullptr) return false;
  ++g_arenaCount;
  g_usedPages = 0;
  return true;
}

// Returns the record of a block, or null if it is in no arena.
std::uint64_t* Find(const void* block) {
  const auto address = reinterpret_cast<std::uintptr_t>(block);
  for (std::size_t i = 0; i < g_arenaCount; ++i) {
    const std::uintptr_t offset = address - reinterpret_cast<std::uintptr_t>(g_arenas[i].memory);
    if (offset < kArenaPages * kPage) return &g_arenas[i].blocks[offset / kPage];
  }
  return nullptr;
}

void* Allocate(std::size_t wanted, unsigned char fill) {
  const std::size_t size = wanted == 0 ? 1 : wanted;
  const std::size_t pages = PagesFor(size);
  if (size > kArenaPages * kPage / 2) return nullptr;
  const Lock lock;
  if (g_usedPages + pages + 1 > kArenaPages && !AddArena()) return nullptr;
  Arena& arena = g_arenas[g_arenaCount - 1];
  BYTE* const memory = arena.memory + g_usedPages * kPage;
  if (::VirtualAlloc(memory, pages * kPage, MEM_COMMIT, PAGE_READWRITE) == nullptr) return nullptr;
  const std::size_t alignment = AlignmentFor(size);
  const std::size_t front = (pages * kPage - size) / alignment * alignment;
  std::memset(memory, kSurroundings, front);
  std::memset(memory + front, fill, size);
  std::memset(memory + front + size, kSurroundings, pages * kPage - size - front);
  arena.blocks[g_usedPages] = wanted + 1;
  g_usedPages += pages + 1;
  return memory + front;
}

bool IsUntouched(const BYTE* begin, const BYTE* end) {
  return std::all_of(begin, end, [](BYTE unit) { return unit == kSurroundings; });
}

void Close(void* block, std::uint64_t& entry) {
  if (entry == kFreed) End("freed twice", block, 0);
  if (entry == 0) End("freed an invalid pointer", block, 0);
  const auto wanted = static_cast<std::size_t>(entry - 1);
  const std::size_t size = wanted == 0 ? 1 : wanted;
  auto* const bytes = static_cast<BYTE*>(block);
  BYTE* const memory = bytes - reinterpret_cast<std::uintptr_t>(block) % kPage;
  BYTE* const end = memory + PagesFor(size) * kPage;
  if (bytes + size > end || static_cast<std::size_t>(end - bytes - size) >= kAlignment) {
    End("freed an invalid pointer", block, wanted);
  }
  if (!IsUntouched(memory, bytes)) End("write before the block", block, wanted);
  if (!IsUntouched(bytes + size, end)) End("write after the block", block, wanted);
  entry = kFreed;
  ::VirtualFree(memory, static_cast<std::size_t>(end - memory), MEM_DECOMMIT);
}

// Returns false for a block that was allocated elsewhere.
bool Free(void* block) {
  const Lock lock;
  std::uint64_t* const entry = Find(block);
  if (entry == nullptr) return false;
  Close(block, *entry);
  return true;
}

std::size_t SizeOf(const void* block) {
  const Lock lock;
  const std::uint64_t* const entry = Find(block);
  return entry == nullptr || *entry == 0 || *entry == kFreed ? 0 : static_cast<std::size_t>(*entry - 1);
}

// The replacements of imported functions, and the originals that the table held before.

void(__cdecl* originalFree)(void*);
void*(__cdecl* originalRealloc)(void*, std::size_t);
HLOCAL(WINAPI* originalLocalFree)(HLOCAL);
void(WINAPI* originalCoTaskMemFree)(LPVOID);
HMODULE(WINAPI* originalLoadLibraryW)(LPCWSTR);
HMODULE(WINAPI* originalLoadLibraryExW)(LPCWSTR, HANDLE, DWORD);

void* __cdecl GuardedMalloc(std::size_t size) {
  return Allocate(size, kFresh);
}

void* __cdecl GuardedCalloc(std::size_t count, std::size_t size) {
  if (size != 0 && count > SIZE_MAX / size) return nullptr;
  return Allocate(count * size, 0);
}

void __cdecl GuardedFree(void* block) {
  if (block != nullptr && !Free(block)) originalFree(block);
}

void* __cdecl GuardedRealloc(void* block, std::size_t size) {
  if (block == nullptr) return GuardedMalloc(size);
  if (!GuardedHeap::Owns(block)) return originalRealloc(block, size);
  if (size == 0) {
    Free(block);
    return nullptr;
  }
  void* const moved = GuardedMalloc(size);
  if (moved == nullptr) return nullptr;
  std::memcpy(moved, block, std::min(size, SizeOf(block)));
  Free(block);
  return moved;
}

HLOCAL WINAPI GuardedLocalAlloc(UINT flags, SIZE_T size) {
  return Allocate(size, (flags & LMEM_ZEROINIT) != 0 ? 0 : kFresh);
}

HLOCAL WINAPI GuardedLocalFree(HLOCAL block) {
  return block == nullptr || Free(block) ? nullptr : originalLocalFree(block);
}

LPVOID WINAPI GuardedCoTaskMemAlloc(SIZE_T size) {
  return Allocate(size, kFresh);
}

void WINAPI GuardedCoTaskMemFree(LPVOID block) {
  if (block != nullptr && !Free(block)) originalCoTaskMemFree(block);
}

// Loads with `load` and watches the filter if it is new: later its table may hold the hooks of a test.
template <typename Load>
HMODULE LoadAndWatch(const wchar_t* path, Load load) {
  constexpr wchar_t kFilter[] = L"KuvCredFilter.dll";
  constexpr std::size_t kFilterLength = std::size(kFilter) - 1;
  const std::size_t length = path == nullptr ? 0 : std::wcslen(path);
  const bool ours = length >= kFilterLength && ::lstrcmpiW(path + length - kFilterLength, kFilter) == 0;
  const bool isNew = ours && ::GetModuleHandleW(path) == nullptr;
  const HMODULE module = load();
  if (isNew && module != nullptr) GuardedHeap::Watch(module);
  return module;
}

HMODULE WINAPI GuardedLoadLibraryW(LPCWSTR path) {
  return LoadAndWatch(path, [=] { return originalLoadLibraryW(path); });
}

HMODULE WINAPI GuardedLoadLibraryExW(LPCWSTR path, HANDLE file, DWORD flags) {
  // A module that is loaded for its resources only has no imports to replace, and its handle is not an
  // address.
  constexpr DWORD kAsData =
      LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_DATAFILE_EXCLUSIVE | LOAD_LIBRARY_AS_IMAGE_RESOURCE;
  if ((flags & kAsData) != 0) return originalLoadLibraryExW(path, file, flags);
  return LoadAndWatch(path, [=] { return originalLoadLibraryExW(path, file, flags); });
}

struct Import {
  const char* name;
  void* replacement;
  void** original;
};

template <typename Function>
void* Address(Function* function) {
  return reinterpret_cast<void*>(function);
}

const Import kImports[] = {
    {"malloc", Address(GuardedMalloc), nullptr},
    {"calloc", Address(GuardedCalloc), nullptr},
    {"realloc", Address(GuardedRealloc), reinterpret_cast<void**>(&originalRealloc)},
    {"free", Address(GuardedFree), reinterpret_cast<void**>(&originalFree)},
    {"LocalAlloc", Address(GuardedLocalAlloc), nullptr},
    {"LocalFree", Address(GuardedLocalFree), reinterpret_cast<void**>(&originalLocalFree)},
    {"CoTaskMemAlloc", Address(GuardedCoTaskMemAlloc), nullptr},
    {"CoTaskMemFree", Address(GuardedCoTaskMemFree), reinterpret_cast<void**>(&originalCoTaskMemFree)},
    {"LoadLibraryW", Address(GuardedLoadLibraryW), reinterpret_cast<void**>(&originalLoadLibraryW)},
    {"LoadLibraryExW", Address(GuardedLoadLibraryExW), reinterpret_cast<void**>(&originalLoadLibraryExW)},
};

}  // namespace

void GuardedHeap::StartIfAskedFor() {
  wchar_t value[2] = {};
  if (::GetEnvironmentVariableW(L"KUV_GUARDED_HEAP", value, 2) != 1 || value[0] != L'1') return;
  g_on = true;
  Watch(::GetModuleHandleW(nullptr));
}

bool GuardedHeap::IsOn() {
  return g_on;
}

void GuardedHeap::Watch(HMODULE module) {
  for (const Import& import : kImports) {
    for (void** const entry : FindImports(module, import.name)) {
      if (*entry == import.replacement) continue;
      // The table of a later module may hold the hook of a test already.
      if (import.original != nullptr && *import.original == nullptr) *import.original = *entry;
      WriteImport(entry, import.replacement);
    }
  }
}

bool GuardedHeap::Owns(const void* block) {
  const Lock lock;
  const std::uint64_t* const entry = Find(block);
  return entry != nullptr && *entry != 0 && *entry != kFreed;
}

}  // namespace KuvTest
