// The DLL in a long-running process: repeated operations do not accumulate resources.
#include <windows.h>

#include <atomic>
#include <cstdio>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include "Anomaly/Faults.h"
#include "Anomaly/Size.h"
#include "Support/FilterModule.h"
#include "Support/Holdings.h"
#include "Support/Providers.h"
#include "Support/RegistrySandbox.h"
#include "Support/TempFolder.h"
#include "Support/Together.h"

namespace {

using namespace KuvTest;

const std::vector<GUID> kProviders = {kPasswordProvider, kKuvProvider, kVendorProvider};
const std::vector<BOOL> kOnlyAllowed = {0, 1, 1};
const std::vector<BOOL> kWithoutKuv = {1, 0, 1};

class Soak : public ::testing::Test {
 protected:
  Soak() {
    TheMachine() = {};
    TheMachine().appData = appData.Path();
    TheMachine().dropsLog = true;
  }
  ~Soak() override { TheMachine() = {}; }

  void Configure() const {
    registry.Local().SetText(L"Host", L"auth.example");
    registry.Local().SetText(L"IKey", L"a client that has a long name");
    registry.Local().SetText(L"SKey", L"a secret that is longer than a short text");
    registry.Local().SetTexts(L"ProvidersWhitelist", {Wide(kVendor)});
  }

  // The heap may keep freed memory, so a few pages are not a leak of that many rounds.
  static void ExpectFlat(const Holdings& before, std::size_t slack, std::size_t moreHandles = 0) {
    const Holdings after = CountHoldings();
    EXPECT_LE(after.handles, before.handles + moreHandles);
    EXPECT_EQ(after.guiObjects, before.guiObjects);
    EXPECT_LE(after.privateBytes, before.privateBytes + slack);
  }

  static constexpr std::size_t kSlack = 512 * 1024;
  RegistrySandbox registry;
  TempFolder appData;
};

TEST_F(Soak, DecisionsLeakNothing) {
  FaultyImports imports;
  Configure();
  const int rounds = IsLong() ? 1'000'000 : 5'000;
  std::optional<LiveFilter> filter{std::in_place};
  const auto decide = [&](int count) {
    for (int i = 0; i < count; ++i) {
      std::vector<BOOL> allow = {0, 1, 7};
      ASSERT_EQ(filter->Decide(static_cast<std::uint32_t>(i % 7), 0, kProviders, allow), S_OK);
      ASSERT_EQ(allow, i % 7 >= 1 && i % 7 <= 3 ? kOnlyAllowed : kWithoutKuv);
      imports.TakeAnswers();
    }
  };
  decide(1000);
  const std::string out = imports.Outstanding();
  const Holdings before = CountHoldings();
  decide(rounds);
  EXPECT_EQ(imports.Outstanding(), out);
  ExpectFlat(before, kSlack);
  filter.reset();
  EXPECT_EQ(imports.Outstanding(), "");
  std::printf("Tried: %d decisions\n", rounds);
}

// Every other load/unload cycle has an exception inside: a machine without settings.
TEST_F(Soak, LoadUnloadCyclesLeakNothing) {
  FaultyImports imports;
  Configure();
  const auto run = [&](int count) {
    for (int i = 0; i < count; ++i) {
      if (i % 2 == 0) Configure();
      {
        const LiveFilter filter;
        std::vector<BOOL> allow = {0, 1, 7};
        ASSERT_EQ(filter.Decide(CPUS_LOGON, 0, kProviders, allow), S_OK);
        ASSERT_EQ(allow, i % 2 == 0 ? kOnlyAllowed : kWithoutKuv);
      }
      ASSERT_EQ(::GetModuleHandleW(L"KuvCredFilter.dll"), nullptr);
      ASSERT_EQ(imports.Outstanding(), "");
      imports.TakeAnswers();
      if (i % 2 == 0) registry.Local().Delete();
    }
  };
  const int rounds = IsLong() ? 100'000 : 200;
  run(100);
  const Holdings before = CountHoldings();
  run(rounds);
  ExpectFlat(before, kSlack);
  std::printf("Tried: %d load/unload cycles\n", rounds);
}

class SoakOnThreads : public Soak {
 protected:
  static constexpr int kThreads = 4;
  // A lock of this program opens an event at its first wait; a leak would be one event per round.
  static constexpr std::size_t kLocks = 8;

  // Threads create, call and release filters, and one loads and unloads, while this thread keeps the DLL
  // loaded.
  void RunThreads(const std::vector<BOOL>& expected) {
    const int rounds = IsLong() ? 20'000 : 100;
    std::atomic<int> wrong = 0;
    FilterModule module;
    {
      const LiveFilter first;
      std::vector<BOOL> allow = {0, 1, 7};
      ASSERT_EQ(first.Decide(CPUS_LOGON, 0, kProviders, allow), S_OK);
      Together(kThreads, [&](int index) {
        for (int i = 0; i < rounds; ++i) {
          if (index == 0) {
            FilterModule{};
            continue;
          }
          const LiveFilter filter;
          std::vector<BOOL> flags = {0, 1, 7};
          if (filter.Decide(CPUS_LOGON, 0, kProviders, flags) != S_OK || flags != expected) ++wrong;
          filter.Module().CreateFilter()->Release();
        }
      });
      EXPECT_EQ(wrong, 0);
      EXPECT_EQ(module.CanUnloadNow(), S_FALSE);
    }
    EXPECT_EQ(module.CanUnloadNow(), S_OK) << "the count does not end at zero";
    EXPECT_TRUE(module.Unload());
    std::printf("Tried: %d rounds on each of %d threads\n", rounds, kThreads);
  }

  // Returns whether the decision on a machine without settings, which is by an exception inside, is correct.
  static bool Throws(const LiveFilter& filter) {
    std::vector<BOOL> allow = {0, 1, 7};
    return filter.Decide(CPUS_LOGON, 0, kProviders, allow) == S_OK && allow == kWithoutKuv;
  }

  // Threads that are older than the DLL, for which its runtime has set up nothing, throw and catch in it.
  static void RunOlderThreads(int rounds) {
    for (int i = 0; i < rounds; ++i) {
      std::atomic<int> wrong = 0;
      std::optional<FilterModule> module;
      std::atomic<bool> loaded = false;
      Together(kThreads, [&](int index) {
        if (index == 0) {
          module.emplace();
          if (!Throws(LiveFilter{})) ++wrong;
          loaded = true;
        }
        while (!loaded) std::this_thread::yield();
        if (!Throws(LiveFilter{})) ++wrong;
      });
      ASSERT_EQ(wrong, 0);
      ASSERT_TRUE(module->Unload());
    }
  }

  // One thread uses the DLL repeatedly. Others load and unload it, or start and end.
  static void RunWithoutReference(int rounds) {
    std::atomic<int> wrong = 0;
    Together(kThreads, [&](int index) {
      for (int i = 0; i < rounds; ++i) {
        if (index == 0) {
          if (!Throws(LiveFilter{})) ++wrong;
        } else if (index == 1) {
          std::thread{[] {}}.join();
        } else {
          FilterModule{};
        }
      }
    });
    ASSERT_EQ(wrong, 0);
    ASSERT_EQ(::GetModuleHandleW(L"KuvCredFilter.dll"), nullptr);
  }

  // The second run must hold no more than the first.
  template <typename Run>
  static void ExpectFlatOver(Run run) {
    run();
    const Holdings before = CountHoldings();
    run();
    ExpectFlat(before, 4 * kSlack, kLocks);
  }

  FaultyImports imports{FaultyImports::Watch::Nothing};
};

TEST_F(SoakOnThreads, DecisionsAndLoadsAgree) {
  Configure();
  ExpectFlatOver([this] { RunThreads(kOnlyAllowed); });
}

TEST_F(SoakOnThreads, ExceptionsOnThreadsAreIndependent) {
  ExpectFlatOver([this] { RunThreads(kWithoutKuv); });
}

TEST_F(SoakOnThreads, ThreadsOlderThanTheDllThrowInIt) {
  ExpectFlatOver([] { RunOlderThreads(IsLong() ? 2'000 : 20); });
}

TEST_F(SoakOnThreads, DllIsLoadedAndUnloadedWhileThreadsRun) {
  ExpectFlatOver([] { RunWithoutReference(IsLong() ? 10'000 : 50); });
}

}  // namespace
