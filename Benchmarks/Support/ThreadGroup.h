#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "Support/Comparison.h"

namespace KuvBench {

/// A group of threads that run an operation together, any number of times.
class ThreadGroup {
 public:
  ThreadGroup(std::size_t threads, Work work);
  ~ThreadGroup();
  ThreadGroup(const ThreadGroup&) = delete;
  ThreadGroup& operator=(const ThreadGroup&) = delete;

  /// Runs the operation `count` times in total, rounded up to the same number for each thread, and waits for
  /// all threads.
  void Run(std::size_t count);

 private:
  void Serve();

  Work work_;
  std::mutex mutex_;
  std::condition_variable started_;
  std::condition_variable finished_;
  std::uint64_t round_ = 0;
  std::size_t countEach_ = 0;
  std::size_t working_ = 0;
  bool ended_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace KuvBench
