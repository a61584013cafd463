#pragma once

#include <cstddef>
#include <functional>

// The test program's own operator new and delete, which a test can look into. Not for several threads.
namespace KuvTest {

/// Counts what is allocated during its life, and refuses with `std::bad_alloc` what is larger than
/// `largest`, so that a test of huge sizes takes no memory. One at a time.
class AllocationCount {
 public:
  explicit AllocationCount(std::size_t largest = static_cast<std::size_t>(-1));
  ~AllocationCount();
  AllocationCount(const AllocationCount&) = delete;
  AllocationCount& operator=(const AllocationCount&) = delete;

  std::size_t Count() const;
  /// The size, in bytes, of the allocation that was refused last; 0 if none was.
  std::size_t Refused() const;
};

/// Calls `onFree` once, when the block is about to be freed and can still be read.
void WatchBlock(const void* block, std::function<void()> onFree);

}  // namespace KuvTest
