#pragma once

#include <cstddef>
#include <cstdint>

namespace KuvTest {

/// The functions of RuntimeProbe.dll, which is linked like the filter DLL: with the runtime under test.
struct RuntimeProbe {
  void (*terminate)();           ///< calls `std::terminate`
  void (*abort)();               ///< calls `std::abort`
  void (*throwOutOfNoexcept)();  ///< lets an exception leave a `noexcept` function
  void (*failRangeCheck)();      ///< calls what a fortified function calls at an overflow
  void* (*allocateException)(std::size_t size);
  void (*freeException)(void* exception);
  /// Throws in each of `depth` nested handlers. Returns 0 if every handler catches its own exception and
  /// finds it unchanged after those within it, or else the depth of the first one that does not.
  int (*nestExceptions)(int depth);
  /// Registers `count` functions to run when the DLL is unloaded. Each adds its index, counted from 1, to the
  /// number that `order` points at, times 31.
  void (*registerAtExit)(int count, std::uint32_t* order);
};

}  // namespace KuvTest
