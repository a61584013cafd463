#pragma once

#include <cstddef>

namespace KuvTest {

/// The resources of this process at one moment.
struct Holdings {
  std::size_t handles;       ///< of the kernel
  std::size_t privateBytes;  ///< committed and not shared
  std::size_t guiObjects;    ///< GDI and USER objects; always 0 under Wine

  bool operator==(const Holdings&) const = default;
};

/// Counts the resources of this process.
Holdings CountHoldings();

/// Counts only the handles.
std::size_t CountHandles();

}  // namespace KuvTest
