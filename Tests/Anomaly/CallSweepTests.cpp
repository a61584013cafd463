// Every call of the DLL to its platform fails, one at a time and from there on to the end.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "Anomaly/Host.h"
#include "Anomaly/Size.h"

namespace {

using namespace KuvTest;

constexpr std::size_t kMostReports = 5;

// Plays the script with each call of a domain failing. Tells how much was tried.
void Sweep(Domain domain, std::size_t answers, std::size_t stride) {
  Host host;
  host.Imports().Arm({});
  host.Play({});
  const std::size_t calls = host.Imports().CallCount(domain);
  std::size_t runs = 0;
  std::size_t broken = 0;
  for (const bool toTheEnd : {false, true}) {
    for (std::size_t call = 1; call <= calls; call += stride) {
      for (std::size_t answer = 0; answer < answers; ++answer) {
        const Fault fault{domain, call, toTheEnd, IsLong() ? answer : call + answer};
        host.Play(fault);
        ++runs;
        if (IsLong() || runs % 50 == 0) host.PlayNormally();
        if (!testing::Test::HasFailure()) continue;
        host.Imports().Arm(fault);
        std::printf("at %s\n", DescribeFault().c_str());
        if (++broken == kMostReports) return;
      }
    }
  }
  std::printf("%zu calls, %zu runs, %zu steps compared\n", calls, runs, host.StepCount());
}

TEST(CallSweep, KnowsEveryImport) {
  Host host;
  EXPECT_EQ(host.Imports().Unclassified(), std::vector<std::string>{});
}

TEST(CallSweep, NoFailingCallDoesHarm) {
  Sweep(Domain::Platform, IsLong() ? 4 : 1, 1);
}

TEST(MemorySweep, NoFailingAllocationDoesHarm) {
  Sweep(Domain::Memory, 1, 1);
}

}  // namespace
