#pragma once

#include <cstddef>

/// The heap allocations of this program through `operator new` so far, of all threads.
std::size_t AllocationCount() noexcept;
