#include "Support/Holdings.h"

#include <windows.h>

#include <winternl.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace KuvTest {

namespace {

// The platform's table of all handles, as far as it is used here.
struct HandleTableEntry {
  ULONG process;
  BYTE type;
  BYTE flags;
  USHORT handle;
  void* object;
  ACCESS_MASK access;
};
struct HandleTable {
  ULONG count;
  HandleTableEntry entries[1];
};
constexpr auto kHandleInformation = static_cast<SYSTEM_INFORMATION_CLASS>(16);
constexpr NTSTATUS kTooSmall = static_cast<NTSTATUS>(0xC0000004);

// Wine has no count for one process, but the table.
std::size_t CountInHandleTable() {
  using Query = NTSTATUS(NTAPI*)(SYSTEM_INFORMATION_CLASS, void*, ULONG, ULONG*);
  const auto query = reinterpret_cast<Query>(reinterpret_cast<void (*)()>(
      ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
  static std::vector<std::uint64_t> memory(1 << 15);
  for (;;) {
    const NTSTATUS status =
        query(kHandleInformation, memory.data(), static_cast<ULONG>(memory.size() * 8), nullptr);
    if (status == 0) break;
    if (status != kTooSmall) throw std::runtime_error{"the platform does not tell its handles"};
    memory.resize(memory.size() * 2);
  }
  const auto* const table = reinterpret_cast<const HandleTable*>(memory.data());
  return static_cast<std::size_t>(
      std::count_if(table->entries, table->entries + table->count,
                    [](const HandleTableEntry& entry) { return entry.process == ::GetCurrentProcessId(); }));
}

std::size_t CountPrivateBytes() {
  std::size_t bytes = 0;
  MEMORY_BASIC_INFORMATION region{};
  for (const char* address = nullptr; ::VirtualQuery(address, &region, sizeof(region)) != 0;) {
    if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE) bytes += region.RegionSize;
    address = static_cast<const char*>(region.BaseAddress) + region.RegionSize;
  }
  return bytes;
}

}  // namespace

std::size_t CountHandles() {
  DWORD count = 0;
  if (::GetProcessHandleCount(::GetCurrentProcess(), &count) != FALSE && count != 0) return count;
  return CountInHandleTable();
}

Holdings CountHoldings() {
  const HANDLE process = ::GetCurrentProcess();
  return {
      CountHandles(), CountPrivateBytes(),
      std::size_t{::GetGuiResources(process, GR_GDIOBJECTS)} + ::GetGuiResources(process, GR_USEROBJECTS)};
}

}  // namespace KuvTest
