#include "Support/Comparison.h"

#include <algorithm>
#include <vector>

namespace KuvBench {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr int kBatches = 2001;
constexpr int kLongBatches = 201;
constexpr double kNanoseconds = 1e9;

Seconds TimeBatch(const Work& work, std::size_t count) {
  const Clock::time_point start = Clock::now();
  work(count);
  return Clock::now() - start;
}

// Returns the shortest of several times, because another program may have interrupted one of them.
Seconds ShortestBatch(const Work& work, std::size_t count) {
  Seconds shortest = TimeBatch(work, count);
  for (int i = 0; i < 4; ++i) shortest = std::min(shortest, TimeBatch(work, count));
  return shortest;
}

std::size_t BatchSize(const Work& work, Seconds batchTime) {
  std::size_t count = 1;
  while (ShortestBatch(work, count) < batchTime) count *= 2;
  return count;
}

double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// A `Work` and the time of one operation in each batch, in nanoseconds.
class Timed {
 public:
  Timed(const Work& work, Seconds batchTime) : work_(work), count_(BatchSize(work, batchTime)) {}

  void RunBatch() {
    times_.push_back(TimeBatch(work_, count_).count() * kNanoseconds / static_cast<double>(count_));
  }
  double Last() const { return times_.back(); }
  double MedianTime() const { return Median(times_); }

 private:
  const Work& work_;
  std::size_t count_;
  std::vector<double> times_;
};

}  // namespace

void Compare(benchmark::State& state, const Comparison& comparison) {
  Timed subject{comparison.subject, comparison.batchTime};
  Timed baseline{comparison.baseline, comparison.batchTime};
  std::vector<double> ratios;
  bool subjectFirst = true;
  for ([[maybe_unused]] auto iteration : state) {
    (subjectFirst ? subject : baseline).RunBatch();
    (subjectFirst ? baseline : subject).RunBatch();
    subjectFirst = !subjectFirst;
    ratios.push_back(subject.Last() / baseline.Last());
    state.SetIterationTime(subject.Last() / kNanoseconds);
  }
  state.counters["median_ns"] = subject.MedianTime();
  state.counters["baseline_ns"] = baseline.MedianTime();
  state.counters["ratio"] = Median(ratios);
  state.counters["goal"] = comparison.goal.ratio;
  state.SetLabel(comparison.baselineName);
}

void Measure(benchmark::State& state, const Work& work) {
  Timed timed{work, kBatchTime};
  for ([[maybe_unused]] auto iteration : state) {
    timed.RunBatch();
    state.SetIterationTime(timed.Last() / kNanoseconds);
  }
  state.counters["median_ns"] = timed.MedianTime();
}

void InBatches(benchmark::internal::Benchmark* settings) {
  settings->Iterations(kBatches)->UseManualTime();
}

void InLongBatches(benchmark::internal::Benchmark* settings) {
  settings->Iterations(kLongBatches)->UseManualTime();
}

int RunBenchmarks(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

}  // namespace KuvBench
