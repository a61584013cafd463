#pragma once

#include <cstddef>

// Replaces operator new and delete of the test program, so that a test can make them fail. For one thread.
namespace KuvTest {

/// During the lifetime of an object, `operator new` of this program throws `std::bad_alloc` from the
/// n-th call on (the first is 1): for one call, or for all of them.
class MemoryExhaustion {
 public:
  enum class Lasts { OneCall, ToTheEnd };

  explicit MemoryExhaustion(std::size_t firstFailure, Lasts lasts = Lasts::ToTheEnd);
  ~MemoryExhaustion();
  MemoryExhaustion(const MemoryExhaustion&) = delete;
  MemoryExhaustion& operator=(const MemoryExhaustion&) = delete;

  /// Returns whether a call has failed so far.
  bool Struck() const;
};

/// Returns the number of blocks that `operator new` of this program has allocated and that are not freed.
std::size_t LiveBlocks();

}  // namespace KuvTest
