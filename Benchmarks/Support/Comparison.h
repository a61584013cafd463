#pragma once

#include <chrono>
#include <cstddef>
#include <functional>

#include <benchmark/benchmark.h>

namespace KuvBench {

/// Does an operation so many times.
using Work = std::function<void(std::size_t count)>;

/// Makes the work of calling `operation` once each time.
template <typename Operation>
Work Repeat(Operation operation) {
  return [operation](std::size_t count) mutable {
    for (; count != 0; --count) {
      operation();
      benchmark::ClobberMemory();
    }
  };
}

/// The time of one batch: long against the resolution of the platform's clock (100 ns), short against the
/// time slices of other programs.
inline constexpr std::chrono::microseconds kBatchTime{100};

/// No more than the given ratio is hoped for.
struct Goal {
  double ratio = 0;  ///< 0 for none
};

/// Two works that are measured against each other.
struct Comparison {
  const char* baselineName;  ///< becomes the label
  Goal goal;
  Work subject;
  Work baseline;
  std::chrono::duration<double> batchTime = kBatchTime;
};

/// Times subject and baseline in turn, one batch each per iteration, so that whatever else the machine
/// does meets both. Reports as counters the median time of one operation of each in nanoseconds
/// (`median_ns`, `baseline_ns`), the median of the ratios of neighbouring batches (`ratio`), and `goal`.
void Compare(benchmark::State& state, const Comparison& comparison);

/// Times one work alone, one batch per iteration, and reports `median_ns`.
void Measure(benchmark::State& state, const Work& work);

/// Settings of a benchmark that calls `Compare` or `Measure`.
void InBatches(benchmark::internal::Benchmark* settings);
/// The same with fewer batches, for long ones.
void InLongBatches(benchmark::internal::Benchmark* settings);

/// The `main` of a benchmark program.
int RunBenchmarks(int argc, char** argv);

}  // namespace KuvBench
