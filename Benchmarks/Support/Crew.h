#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "Support/Comparison.h"

namespace KuvBench {

/// Threads that share a work, over and over, without being started anew.
class Crew {
 public:
  Crew(std::size_t threads, Work work);
  ~Crew();
  Crew(const Crew&) = delete;
  Crew& operator=(const Crew&) = delete;

  /// Does the work `count` times in all, rounded up to as many for each thread; returns when all is done.
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
