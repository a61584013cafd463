#pragma once

#include <cstddef>
#include <cstring>

namespace KuvTest {

/// The number of entries that a virtual destructor takes.
#if defined(_MSC_VER)
inline constexpr std::size_t kDestructorSlots = 1;
#else
inline constexpr std::size_t kDestructorSlots = 2;
#endif

/// Calls the virtual operation in an entry of the object's virtual table. On x64, an operation is called like
/// a function whose first argument is the object.
template <typename Result, typename... Arguments>
Result CallSlot(void* object, std::size_t slot, Arguments... arguments) {
  void* const* table = nullptr;
  std::memcpy(&table, object, sizeof(table));
  return reinterpret_cast<Result (*)(void*, Arguments...)>(table[slot])(object, arguments...);
}

}  // namespace KuvTest
