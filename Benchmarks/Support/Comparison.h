#pragma once

#include <chrono>
#include <cstddef>
#include <functional>

#include <benchmark/benchmark.h>

namespace KuvBench {

/// Runs an operation `count` times.
using Work = std::function<void(std::size_t count)>;

/// Returns a `Work` that calls `operation`.
template <typename Operation>
Work Repeat(Operation operation) {
  return [operation](std::size_t count) mutable {
    for (; count != 0; --count) {
      operation();
      benchmark::ClobberMemory();
    }
  };
}

/// The time of one batch: much longer than the resolution of the clock (100 ns) and much shorter than a time
/// slice of another program.
inline constexpr std::chrono::microseconds kBatchTime{100};

/// The largest ratio of subject to baseline that is intended.
struct Goal {
  double ratio = 0;  ///< 0 for none
};

/// Two operations to compare.
struct Comparison {
  const char* baselineName;  ///< the label
  Goal goal;
  Work subject;
  Work baseline;
  std::chrono::duration<double> batchTime = kBatchTime;
};

/// Measures subject and baseline alternately, one batch of each per iteration, so that other load on the
/// machine affects both. Reports as counters the median time of one operation of each in nanoseconds
/// (`median_ns`, `baseline_ns`), the median of the ratios of adjacent batches (`ratio`), and `goal`.
void Compare(benchmark::State& state, const Comparison& comparison);

/// Measures one operation, one batch per iteration, and reports `median_ns`.
void Measure(benchmark::State& state, const Work& work);

/// Sets the options of a benchmark that calls `Compare` or `Measure`.
void InBatches(benchmark::internal::Benchmark* settings);
/// Sets the same options with fewer batches, for long batches.
void InLongBatches(benchmark::internal::Benchmark* settings);

/// Runs the benchmarks of a program. Returns its exit code.
int RunBenchmarks(int argc, char** argv);

}  // namespace KuvBench
