#include "Support/Holdings.h"

#include <windows.h>

#include <cstdint>

namespace KuvTest {

namespace {

// Wine has no count. It assigns the lowest free number, so there are no more handles after a long gap.
// (Wine's table of the handles of all processes has them too, but reading it may end the Wine server.)
std::size_t CountByTrying() {
  constexpr std::uintptr_t kStep = 4;
  constexpr int kGap = 256;
  std::size_t count = 0;
  std::uintptr_t value = kStep;
  for (int missing = 0; missing < kGap; ++missing, value += kStep) {
    DWORD flags = 0;
    if (::GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) == FALSE) continue;
    ++count;
    missing = -1;
  }
  return count;
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
  return CountByTrying();
}

Holdings CountHoldings() {
  const HANDLE process = ::GetCurrentProcess();
  return {
      CountHandles(), CountPrivateBytes(),
      std::size_t{::GetGuiResources(process, GR_GDIOBJECTS)} + ::GetGuiResources(process, GR_USEROBJECTS)};
}

}  // namespace KuvTest
