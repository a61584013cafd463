// Every call of the DLL to its platform, and every allocation, fails: alone, and with all that follow.
#include <gtest/gtest.h>

#include <cstdio>

#include "Anomaly/Host.h"
#include "Anomaly/Size.h"

namespace {

using namespace KuvTest;

constexpr std::size_t kMostReports = 5;

struct Sweep {
  Domain domain;
  bool toTheEnd;
  std::size_t answers;  // how many of a function's failures are tried for each call
  std::size_t stride;   // between the calls that fail

  // Plays the script once for each fault, and without one in between.
  void Run() const {
    Host host;
    host.Play({});
    const std::size_t calls = host.Imports().CallCount(domain);
    std::size_t runs = 0;
    for (std::size_t call = 1; call <= calls; call += stride) {
      for (std::size_t answer = 0; answer < answers; ++answer) {
        // With fewer tries than failures, neighbours try different ones.
        const Fault fault{domain, call, toTheEnd, answers == 1 ? call / stride : answer};
        if (!Survives(host, fault)) return;
        ++runs;
        if (IsLong() || runs % 50 == 0) host.PlayNormally();
      }
    }
    host.PlayNormally();
    std::printf("Tried: %zu of %zu %s %s, %zu runs, %zu steps compared\n", (calls + stride - 1) / stride,
                calls, domain == Domain::Memory ? "allocations" : "calls",
                toTheEnd ? "and all later ones" : "one by one", runs, host.StepCount());
  }

 private:
  // False: enough has been reported.
  static bool Survives(Host& host, const Fault& fault) {
    static std::size_t reports = 0;
    host.Play(fault);
    if (!testing::Test::HasFailure()) return true;
    std::printf("at %s\n", DescribeFault().c_str());
    return ++reports < kMostReports;
  }
};

TEST(ImportTable, HoldsNothingThatTheSweepsDoNotKnow) {
  Host host;
  EXPECT_EQ(host.Imports().Unclassified(), std::vector<std::string>{});
}

TEST(CallSweep, NoFailingCallDoesHarm) {
  Sweep{Domain::Platform, false, IsLong() ? std::size_t{4} : 1, 1}.Run();
}

TEST(CallSweep, NoPlatformThatFailsToTheEndDoesHarm) {
  Sweep{Domain::Platform, true, IsLong() ? std::size_t{4} : 1, IsLong() ? std::size_t{1} : 5}.Run();
}

TEST(MemorySweep, NoFailingAllocationDoesHarm) {
  Sweep{Domain::Memory, false, 1, 1}.Run();
}

TEST(MemorySweep, NoMemoryThatIsGoneToTheEndDoesHarm) {
  Sweep{Domain::Memory, true, 1, 1}.Run();
}

}  // namespace
