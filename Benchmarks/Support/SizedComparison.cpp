#include "Support/SizedComparison.h"

#include <algorithm>
#include <random>

namespace KuvBench {

namespace {

constexpr std::size_t kSizes[] = {16, 64, 1024, 65536, 16777216};
constexpr std::size_t kPoolBytes = 1 << 20;

// Returns more batches for short inputs, whose times vary more.
int Batches(std::size_t size, Pace pace) {
  if (pace == Pace::Slow) return size > kPoolBytes ? 31 : 101;
  if (size > kPoolBytes) return 9;
  return size > 1024 ? 201 : 1001;
}

std::string MakeInput(Content content, std::size_t size, std::minstd_rand& random) {
  constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._";
  constexpr char kMarks[] = "&=/,:@+%";
  const auto below = [&](std::size_t count) { return (random() >> 8) % count; };
  std::string text;
  text.reserve(size + 10);
  while (text.size() < size) {
    if (content == Content::Bytes) {
      const auto byte = static_cast<char>(below(256));
      if (byte != '\0' && byte != ' ' && byte != '~') text += byte;
      continue;
    }
    for (std::size_t letters = 1 + below(9); letters != 0; --letters)
      text += kLetters[below(sizeof(kLetters) - 1)];
    if (content == Content::Parameters) text += kMarks[below(sizeof(kMarks) - 1)];
  }
  text.resize(size);
  return text;
}

void Run(benchmark::State& state, Content content, std::size_t size, const Measured& subject,
         const Measured& baseline) {
  Inputs inputs{content, size};
  const std::size_t checked = std::min<std::size_t>(inputs.All().size(), 64);
  for (std::size_t i = 0; i < checked; ++i) {
    const std::string& input = inputs.All()[i];
    if (subject.Text(input) == baseline.Text(input)) continue;
    state.SkipWithError("the results differ");
    return;
  }
  Compare(state, {baseline.Name(), baseline.GetGoal(), subject.On(inputs), baseline.On(inputs)});
  state.counters["bytes"] = static_cast<double>(size);
}

}  // namespace

Inputs::Inputs(Content content, std::size_t size) {
  std::minstd_rand random{20220717};
  // Enough different inputs, but not so many that creating them takes longer than measuring.
  const std::size_t count = std::clamp<std::size_t>(kPoolBytes / size, 1, 4096);
  for (std::size_t i = 0; i < count; ++i) inputs_.push_back(MakeInput(content, size, random));
}

void RegisterSizes(Content content, const Measured& subject, const std::vector<Measured>& baselines,
                   Pace pace) {
  for (const Measured& baseline : baselines) {
    for (const std::size_t size : kSizes) {
      const std::string name =
          subject.Name() + std::string{"/"} + baseline.Name() + "/" + std::to_string(size);
      benchmark::RegisterBenchmark(
          name.c_str(), [=](benchmark::State& state) { Run(state, content, size, subject, baseline); })
          ->Iterations(Batches(size, pace))
          ->UseManualTime();
    }
  }
}

}  // namespace KuvBench
