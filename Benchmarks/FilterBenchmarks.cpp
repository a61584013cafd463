// Compares the decision of the filter with the platform calls that it needs.

#include <cstdio>
#include <exception>
#include <memory>

#include <benchmark/benchmark.h>

#include "FilterSetup.h"
#include "InstantPlatform.h"
#include "KuvAuth/Logging/LogFront.h"
#include "KuvCredFilter/KuvCredFilter.h"
#include "Support/Comparison.h"

namespace {

using KuvBench::Compare;
using KuvBench::Goal;
using KuvBench::InBatches;
using KuvBench::MachineSettings;
using KuvBench::ModuleFilter;
using KuvBench::ProviderArrays;
using KuvBench::Repeat;

constexpr std::size_t kProviders = 16;
constexpr char kBareCalls[] = "bare platform calls";

struct Releaser {
  void operator()(IUnknown* object) const { object->Release(); }
};
using FilterObject = std::unique_ptr<ICredentialProviderFilter, Releaser>;

// Creates a filter from the code that is linked into this program. There is no log initially.
FilterObject MakeFilter() {
  return FilterObject{new CKuvCredFilter};
}

struct NullHandler final : Kuv::ILogHandler {
  void LogWrite(LogLevel, const wchar_t* text) override { benchmark::DoNotOptimize(text); }
  void LogWrite(LogLevel, const char* text) override { benchmark::DoNotOptimize(text); }
  void Flush() override {}
};

std::shared_ptr<Kuv::LogSystem> NullLog() {
  auto system = std::make_shared<Kuv::LogSystem>();
  system->AddHandler(std::make_shared<NullHandler>());
  return system;
}

void CompareFilter(benchmark::State& state, Goal goal, ICredentialProviderFilter& filter) {
  ProviderArrays arrays{kProviders};
  arrays.Check(filter);
  Compare(state, {kBareCalls, goal, Repeat([&] { arrays.Filter(filter); }),
                  Repeat(KuvBench::CallPlatformForDecision)});
}

void FilterWithoutLog(benchmark::State& state) {
  const MachineSettings settings;
  CompareFilter(state, Goal{1.05}, *MakeFilter());
}
BENCHMARK(FilterWithoutLog)->Apply(InBatches);

// Writes three lines at the default level.
void FilterWithNullHandler(benchmark::State& state) {
  const MachineSettings settings;
  g_logSystem = NullLog();
  CompareFilter(state, Goal{}, *MakeFilter());
  g_logSystem.reset();
}
BENCHMARK(FilterWithNullHandler)->Apply(InBatches);

void FilterOfModuleLogOutputDropped(benchmark::State& state) {
  const MachineSettings settings;
  const ModuleFilter loaded;
  KuvBench::DropLogOutput(loaded.Module());
  CompareFilter(state, Goal{}, loaded.Filter());
}
BENCHMARK(FilterOfModuleLogOutputDropped)->Apply(InBatches);

// Runs as in the logon process: every line is written to the debugger and, write-through, to the file.
void FilterOfModule(benchmark::State& state) {
  const MachineSettings settings;
  const ModuleFilter loaded;
  CompareFilter(state, Goal{}, loaded.Filter());
}
BENCHMARK(FilterOfModule)->Apply(InBatches);

// Measures the decision without the platform, by the number of providers.
void FilterOnInstantPlatform(benchmark::State& state) {
  const MachineSettings settings;
  const FilterObject filter = MakeFilter();
  ProviderArrays arrays{static_cast<std::size_t>(state.range(0))};
  arrays.Check(*filter);
  const KuvBench::InstantPlatform platform;
  arrays.Check(*filter);
  KuvBench::Measure(state, Repeat([&] { arrays.Filter(*filter); }));
}
BENCHMARK(FilterOnInstantPlatform)->RangeMultiplier(4)->Range(4, 1024)->Apply(InBatches);

// Measures the three lines of a logon without the handlers.
void FilterWithNullHandlerOnInstantPlatform(benchmark::State& state) {
  const MachineSettings settings;
  const auto log = NullLog();
  const FilterObject filter = MakeFilter();
  ProviderArrays arrays{kProviders};
  arrays.Check(*filter);
  const KuvBench::InstantPlatform platform;
  const KuvBench::Work calls = Repeat([&] { arrays.Filter(*filter); });
  const auto callsWithLog = [&](std::size_t count) {
    g_logSystem = log;
    calls(count);
    g_logSystem.reset();
  };
  Compare(state, {"without a log", Goal{}, callsWithLog, calls});
}
BENCHMARK(FilterWithNullHandlerOnInstantPlatform)->Apply(InBatches);

void LoadFilterUnload(benchmark::State& state) {
  const MachineSettings settings;
  ProviderArrays arrays{kProviders};
  KuvBench::Measure(state, Repeat([&] {
                      const ModuleFilter loaded;
                      arrays.Check(loaded.Filter());
                    }));
}
BENCHMARK(LoadFilterUnload)->Apply(KuvBench::InLongBatches);

}  // namespace

int main(int argc, char** argv) {
  try {
    return KuvBench::RunBenchmarks(argc, argv);
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "FilterBenchmarks: %s\n", exception.what());
    return 1;
  }
}
