#pragma once

#include <algorithm>
#include <cstddef>

#include "KuvAuth/Signing/Failure.h"

namespace Kuv::Signing {

/// A total of sizes. It stays at `kMaximumSize` + 1, so it cannot overflow.
class SizeSum {
 public:
  void Add(std::size_t size) noexcept { total_ = std::min(total_ + std::min(size, kTooLarge), kTooLarge); }
  bool IsTooLarge() const noexcept { return total_ == kTooLarge; }

 private:
  static constexpr std::size_t kTooLarge = kMaximumSize + 1;

  std::size_t total_ = 0;
};

}  // namespace Kuv::Signing
