#pragma once

#include <cstddef>

namespace Kuv::Signing {

/// Overwrites memory with zeros, even if nothing reads it afterwards (`SecureZeroMemory`). `memory` can be
/// null if `size` is 0.
void WipeMemory(void* memory, std::size_t size) noexcept;

}  // namespace Kuv::Signing
