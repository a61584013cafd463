#pragma once

#include <cstddef>

namespace KuvTest {

/// Watches the heap allocations of the program for the life of the object: each one through `operator
/// new`, which this program replaces, or through the runtime's own functions where they are imported.
/// Can let the n-th `operator new` fail. One at a time.
class AllocationCounter {
 public:
  /// With `failing` above 0, the `operator new` of that number (the first is 1) throws `std::bad_alloc`.
  explicit AllocationCounter(std::size_t failing = 0);
  ~AllocationCounter();
  AllocationCounter(const AllocationCounter&) = delete;
  AllocationCounter& operator=(const AllocationCounter&) = delete;

  /// Stops watching and gives the number of allocations so far.
  std::size_t Stop();
  /// Whether the allocation that was to fail came.
  bool HasFailed() const;
};

}  // namespace KuvTest
