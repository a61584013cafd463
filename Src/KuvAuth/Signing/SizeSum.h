#pragma once

#include <cstddef>

#include "KuvAuth/Signing/Failure.h"

namespace Kuv::Signing {

/// A total of sizes. It stops above `kMaximumSize`, so it cannot overflow.
class SizeSum {
 public:
  void Add(std::size_t size) noexcept {
    if (IsTooLarge()) return;
    total_ = size > kMaximumSize ? kMaximumSize + 1 : total_ + size;
  }
  bool IsTooLarge() const noexcept { return total_ > kMaximumSize; }

 private:
  std::size_t total_ = 0;
};

}  // namespace Kuv::Signing
