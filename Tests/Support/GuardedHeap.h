#pragma once

#include <windows.h>

namespace KuvTest {

/// Puts the heap blocks of this program, and of a module that it watches, where misuse shows:
///
/// - A block ends where a page without access begins, so one byte too many ends the process. The platform's
///   blocks are aligned to 16 bytes, and a block that is no multiple of that leaves a gap of up to 15 bytes
///   behind it; blocks below 16 bytes keep only the alignment that their size asks for and leave none.
/// - The gap, and the page in front of the block, are filled with a pattern that is looked at when the block
/// is
///   freed. A changed one ends the process.
/// - The pages of a freed block lose their access for good, and freeing it again ends the process.
/// - A new block is filled with a pattern of its own, so that nobody reads zeros by luck.
///
/// It works through the import tables, so not with a runtime that is linked in: `malloc` and its kin, below
/// `operator new` too, `LocalAlloc` and `CoTaskMemAlloc`. Blocks that were allocated otherwise are passed on
/// when they are freed.
class GuardedHeap {
 public:
  /// Starts if the environment variable KUV_GUARDED_HEAP is 1. The filter is watched as well from the moment
  /// the program loads it.
  static void StartIfAskedFor();
  static bool IsOn();
  /// Watches the allocations of a loaded module, which frees its blocks itself.
  static void Watch(HMODULE module);
  /// Whether the block was allocated here and is not freed yet.
  static bool Owns(const void* block);
};

}  // namespace KuvTest
