#include "KuvAuth/Support/CriticalSection.h"

#include <windows.h>

namespace Kuv {

namespace {

CRITICAL_SECTION* Native(std::byte* storage) noexcept {
  return reinterpret_cast<CRITICAL_SECTION*>(storage);
}

}  // namespace

CriticalSection::CriticalSection(unsigned long spinCount) noexcept {
  static_assert(sizeof(storage_) == sizeof(CRITICAL_SECTION));
  // Always succeeds on the supported versions of Windows.
  static_cast<void>(::InitializeCriticalSectionAndSpinCount(Native(storage_), spinCount));
}

CriticalSection::~CriticalSection() {
  ::DeleteCriticalSection(Native(storage_));
}

void CriticalSection::lock() noexcept {
  ::EnterCriticalSection(Native(storage_));
}

void CriticalSection::unlock() noexcept {
  ::LeaveCriticalSection(Native(storage_));
}

}  // namespace Kuv
