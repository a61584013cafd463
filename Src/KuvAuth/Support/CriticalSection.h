#pragma once

#include <cstddef>

namespace Kuv {

/// A `CRITICAL_SECTION` with a spin count, usable with `std::lock_guard`. Its storage is opaque, so that this
/// header does not include `<windows.h>`.
class CriticalSection {
 public:
  /// Initializes the section. A thread spins up to `spinCount` times before it waits.
  explicit CriticalSection(unsigned long spinCount) noexcept;
  ~CriticalSection();
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void lock() noexcept;    ///< waits for ownership; the owner may lock again
  void unlock() noexcept;  ///< releases ownership once

 private:
  // CRITICAL_SECTION: four fields of pointer size and two of 32 bits.
  alignas(void*) std::byte storage_[4 * sizeof(void*) + 8];
};

}  // namespace Kuv
