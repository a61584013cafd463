#pragma once

#include <cstddef>

// The test program's own operator new and delete, which a test can make fail. Not for several threads.
namespace KuvTest {

/// Makes `operator new` of this program throw `std::bad_alloc` for the life of the object, from its
/// n-th call on (the first is 1): for one call, or for all of them.
class MemoryExhaustion {
 public:
  enum class Lasts { OneCall, ToTheEnd };

  explicit MemoryExhaustion(std::size_t firstFailure, Lasts lasts = Lasts::ToTheEnd);
  ~MemoryExhaustion();
  MemoryExhaustion(const MemoryExhaustion&) = delete;
  MemoryExhaustion& operator=(const MemoryExhaustion&) = delete;

  /// Whether a call has failed so far.
  bool Struck() const;
};

/// How many blocks `operator new` of this program has given and not got back.
std::size_t LiveBlocks();

}  // namespace KuvTest
