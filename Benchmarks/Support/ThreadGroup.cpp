#include "Support/ThreadGroup.h"

#include <utility>

namespace KuvBench {

ThreadGroup::ThreadGroup(std::size_t threads, Work work) : work_(std::move(work)) {
  for (std::size_t i = 0; i < threads; ++i) threads_.emplace_back([this] { Serve(); });
}

ThreadGroup::~ThreadGroup() {
  {
    const std::lock_guard guard{mutex_};
    ended_ = true;
  }
  started_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void ThreadGroup::Run(std::size_t count) {
  std::unique_lock lock{mutex_};
  countEach_ = (count + threads_.size() - 1) / threads_.size();
  working_ = threads_.size();
  ++round_;
  started_.notify_all();
  finished_.wait(lock, [this] { return working_ == 0; });
}

void ThreadGroup::Serve() {
  std::unique_lock lock{mutex_};
  for (std::uint64_t seen = 0;;) {
    started_.wait(lock, [&] { return ended_ || round_ != seen; });
    if (ended_) return;
    seen = round_;
    const std::size_t count = countEach_;
    lock.unlock();
    work_(count);
    lock.lock();
    if (--working_ == 0) finished_.notify_one();
  }
}

}  // namespace KuvBench
