#pragma once

#include <cstddef>

namespace KuvTest {

/// Counts the heap allocations of the program for the lifetime of the object: those through `operator new`,
/// which this program replaces, and those through imported functions of the runtime. Can make the n-th
/// `operator new` fail. One object at a time.
class AllocationCounter {
 public:
  /// With `failing` above 0, the `operator new` of that number (the first is 1) throws `std::bad_alloc`.
  explicit AllocationCounter(std::size_t failing = 0);
  ~AllocationCounter();
  AllocationCounter(const AllocationCounter&) = delete;
  AllocationCounter& operator=(const AllocationCounter&) = delete;

  /// Stops counting and returns the number of allocations so far.
  std::size_t Stop();
  /// Returns whether the failing allocation was reached.
  bool HasFailed() const;
};

}  // namespace KuvTest
