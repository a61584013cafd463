#pragma once

#include <atomic>
#include <thread>
#include <vector>

namespace KuvTest {

/// Calls `work` with 0, 1, ... `count` - 1, each on its own thread, and returns when all have ended. The
/// threads start together, so that they do race, and spin until then: the runtime's `std::latch` can miss its
/// wake-up here.
template <typename Work>
void Together(int count, Work work) {
  std::atomic<int> missing = count;
  std::vector<std::thread> threads;
  for (int index = 0; index < count; ++index) {
    threads.emplace_back([&missing, &work, index] {
      --missing;
      while (missing > 0) std::this_thread::yield();
      work(index);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace KuvTest
