// Every call of the DLL to its platform, and every allocation, fails: alone, and with all that follow.
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Anomaly/Host.h"
#include "Anomaly/Size.h"

namespace {

using namespace KuvTest;

constexpr std::size_t kMostReports = 5;
// The script makes hundreds of calls and dozens of allocations more; with fewer, it has ended early.
constexpr std::size_t kFewestCalls = 500;
constexpr std::size_t kFewestAllocations = 40;

struct Sweep {
  Domain domain;
  bool toTheEnd;
  std::size_t answers;  // number of failures of a function that are tried for each call
  std::size_t stride;   // between the calls that fail
  std::size_t fewest;   // calls that the script makes at least
  std::size_t reports = 0;

  // Plays the script once for each fault, and without a fault in between.
  void Run() {
    Host host;
    host.Play({});
    const std::size_t calls = host.Imports().CallCount(domain);
    ASSERT_GE(calls, fewest);
    std::size_t runs = 0;
    for (std::size_t call = 1; call <= calls; call += stride) {
      for (std::size_t answer = 0; answer < answers; ++answer) {
        // With fewer tries than failures, neighboring calls try different ones.
        const Fault fault{domain, call, toTheEnd, answers == 1 ? call / stride : answer};
        if (!Survives(host, fault)) return;
        ++runs;
        if (IsLong() || runs % 50 == 0) host.PlayNormally();
      }
    }
    host.PlayNormally();
    // Failures to the end keep the script from later calls.
    if (!toTheEnd) {
      EXPECT_EQ(host.Imports().NeverStruck(domain), NotReached(domain));
    }
    std::printf("Tried: %zu of %zu %s %s, %zu runs, %zu steps compared\n", (calls + stride - 1) / stride,
                calls, domain == Domain::Memory ? "allocations" : "calls",
                toTheEnd ? "and all later ones" : "one by one", runs, host.StepCount());
  }

 private:
  // Imports that the script does not reach.
  static std::vector<std::string> NotReached(Domain domain) {
    constexpr bool k64Bit = sizeof(void*) == 8;
    if (domain == Domain::Memory) {
      return k64Bit ? std::vector<std::string>{"calloc"} : std::vector<std::string>{"calloc", "realloc"};
    }
    // The log converts text only where something has failed before. The rest belongs to parts of the library
    // and of the runtime that the filter does not reach.
    if (k64Bit) {
      return {"FormatMessageW",      "GetModuleHandleW",    "GetProcAddress", "LoadLibraryW",
              "MultiByteToWideChar", "WideCharToMultiByte", "_vscprintf"};
    }
    return {"FormatMessageW", "FreeLibrary",  "GetModuleHandleA",    "GetModuleHandleW",    "GetProcAddress",
            "LoadLibraryA",   "LoadLibraryW", "MultiByteToWideChar", "WideCharToMultiByte", "_vsnprintf"};
  }

  static int CountFailures() {
    return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
  }

  // False: enough has been reported.
  bool Survives(Host& host, const Fault& fault) {
    const int before = CountFailures();
    host.Play(fault);
    EXPECT_TRUE(host.Imports().HasStruckSinceArmed());
    if (CountFailures() == before) return true;
    std::printf("at %s\n", DescribeFault().c_str());
    return ++reports < kMostReports;
  }
};

TEST(ImportTable, IsCoveredByTheSweeps) {
  Host host;
  EXPECT_EQ(host.Imports().Unclassified(), std::vector<std::string>{});
}

TEST(CallSweep, SurvivesAnyFailingCall) {
  Sweep{Domain::Platform, false, IsLong() ? std::size_t{4} : 1, 1, kFewestCalls}.Run();
}

TEST(CallSweep, SurvivesAllCallsFailingFromAnyOneOn) {
  Sweep{Domain::Platform, true, IsLong() ? std::size_t{4} : 1, IsLong() ? std::size_t{1} : 5, kFewestCalls}
      .Run();
}

// A 32-bit program cannot catch the exceptions of the DLL that report exhausted memory: they end the process.
#if defined(_WIN64)

TEST(MemorySweep, SurvivesAnyFailingAllocation) {
  Sweep{Domain::Memory, false, 1, 1, kFewestAllocations}.Run();
}

TEST(MemorySweep, SurvivesAllAllocationsFailingFromAnyOneOn) {
  Sweep{Domain::Memory, true, 1, 1, kFewestAllocations}.Run();
}

#endif

}  // namespace
