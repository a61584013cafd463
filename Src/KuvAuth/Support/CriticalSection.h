#pragma once

#include <cstddef>

namespace Kuv {

/// The platform's critical section, made with a spin count and usable with `std::lock_guard`. Its
/// storage is opaque here, so that a header which holds one does not bring the platform's in.
class CriticalSection {
 public:
  /// Makes it, to be spun for `spinCount` rounds before a thread waits.
  explicit CriticalSection(unsigned long spinCount) noexcept;
  ~CriticalSection();
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void lock() noexcept;    ///< waits for it; the same thread may enter again
  void unlock() noexcept;  ///< leaves it

 private:
  // CRITICAL_SECTION: four fields of pointer size and two of 32 bits.
  alignas(void*) std::byte storage_[4 * sizeof(void*) + 8];
};

}  // namespace Kuv
