#pragma once

#include <windows.h>

namespace KuvTest {

/// Places the heap blocks of this program, and of a module that it watches, so that misuse is detected:
///
/// - A block ends where a page without access begins, so one byte too many ends the process. The platform's
///   blocks are aligned to 16 bytes, and a size that is not a multiple of 16 leaves a gap of up to 15 bytes
///   after the block; blocks below 16 bytes have only the alignment that their size needs and leave none.
/// - The gap and the rest of the page before the block are filled with a pattern that is checked when the
///   block is freed. A change ends the process.
/// - The pages of a freed block stay inaccessible, and freeing it again ends the process.
/// - A new block is filled with another pattern, so that uninitialized memory is not zero by chance.
///
/// It replaces imports, so it does not work with a statically linked runtime: `malloc` and related functions,
/// also below `operator new`, `LocalAlloc` and `CoTaskMemAlloc`. Blocks that were allocated elsewhere are
/// freed by the original function.
class GuardedHeap {
 public:
  /// Starts if the environment variable KUV_GUARDED_HEAP is 1. The filter is watched too once the program
  /// loads it.
  static void StartIfAskedFor();
  static bool IsOn();
  /// Watches the allocations of a loaded module, which frees its own blocks.
  static void Watch(HMODULE module);
  /// Returns whether the block was allocated here and is not freed yet.
  static bool Owns(const void* block);
};

}  // namespace KuvTest
