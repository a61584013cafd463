#pragma once

#include <cstddef>

namespace KuvTest {

/// What this process holds at this moment.
struct Holdings {
  std::size_t handles;       ///< of the kernel
  std::size_t privateBytes;  ///< committed and shared with nobody
  std::size_t guiObjects;    ///< GDI and USER objects; Wine does not count them and says 0

  bool operator==(const Holdings&) const = default;
};

/// Counts what this process holds.
Holdings CountHoldings();

/// The handles alone.
std::size_t CountHandles();

}  // namespace KuvTest
