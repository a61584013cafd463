#pragma once

#include <cstddef>

/// Returns the number of heap allocations by `operator new` of all threads of this program so far.
std::size_t AllocationCount() noexcept;
