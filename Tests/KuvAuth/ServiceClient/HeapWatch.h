#pragma once

#include <cstddef>
#include <functional>

// Replaces operator new and delete of the test program, so that a test can observe them. Not thread-safe.
namespace KuvTest {

/// Counts allocations during its lifetime and throws `std::bad_alloc` for those of more than `largest`
/// bytes, so that a test of huge sizes needs no memory. One at a time.
class AllocationCount {
 public:
  explicit AllocationCount(std::size_t largest = static_cast<std::size_t>(-1));
  ~AllocationCount();
  AllocationCount(const AllocationCount&) = delete;
  AllocationCount& operator=(const AllocationCount&) = delete;

  std::size_t Count() const;
  /// Returns the size, in bytes, of the last allocation that was rejected; 0 if none was.
  std::size_t Refused() const;
};

/// Calls `onFree` once, when the block is about to be freed and can still be read.
void WatchBlock(const void* block, std::function<void()> onFree);

}  // namespace KuvTest
