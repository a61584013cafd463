// The DLL in a process that lives long: whatever is repeated, nothing grows.
#include <windows.h>

#include <atomic>
#include <cstdio>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include "Anomaly/Faults.h"
#include "Anomaly/LiveFilter.h"
#include "Anomaly/Providers.h"
#include "Anomaly/Size.h"
#include "Support/Holdings.h"
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
    registry.Local().SetTexts(L"ProvidersWhitelist", {kVendorText});
  }

  // The heap may keep what it has been given, so a few pages are no leak of that many rounds.
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

TEST_F(Soak, DecisionsLeaveNothingBehind) {
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

// Every other life ends with an exception inside: a machine without settings.
TEST_F(Soak, LivesLeaveNothingBehind) {
  FaultyImports imports;
  Configure();
  const auto live = [&](int count) {
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
  live(100);
  const Holdings before = CountHoldings();
  live(rounds);
  ExpectFlat(before, kSlack);
  std::printf("Tried: %d lives\n", rounds);
}

class SoakOnThreads : public Soak {
 protected:
  static constexpr int kThreads = 4;
  // A lock of this program takes an event when somebody first waits for it; a leak would be one a round.
  static constexpr std::size_t kLocks = 8;

  // Threads make, ask and release, and one loads and unloads, while this thread keeps the DLL in place.
  void RunThreads(const std::vector<BOOL>& expected) {
    const int rounds = IsLong() ? 20'000 : 100;
    std::atomic<int> wrong = 0;
    const HMODULE module = ::LoadLibraryW(BuiltDll().c_str());
    {
      const LiveFilter first;
      std::vector<BOOL> allow = {0, 1, 7};
      ASSERT_EQ(first.Decide(CPUS_LOGON, 0, kProviders, allow), S_OK);
      Together(kThreads, [&](int index) {
        for (int i = 0; i < rounds; ++i) {
          if (index == 0) {
            ::FreeLibrary(::LoadLibraryW(BuiltDll().c_str()));
            continue;
          }
          const LiveFilter filter;
          std::vector<BOOL> flags = {0, 1, 7};
          if (filter.Decide(CPUS_LOGON, 0, kProviders, flags) != S_OK || flags != expected) ++wrong;
          filter.MakeAnother();
        }
      });
      EXPECT_EQ(wrong, 0);
      EXPECT_FALSE(CanUnload(module));
    }
    EXPECT_TRUE(CanUnload(module)) << "the count does not end at zero";
    ::FreeLibrary(module);
    EXPECT_EQ(::GetModuleHandleW(L"KuvCredFilter.dll"), nullptr);
    std::printf("Tried: %d rounds on each of %d threads\n", rounds, kThreads);
  }

  // Whether a machine without settings is decided on rightly: by an exception inside.
  static bool Throws(const LiveFilter& filter) {
    std::vector<BOOL> allow = {0, 1, 7};
    return filter.Decide(CPUS_LOGON, 0, kProviders, allow) == S_OK && allow == kWithoutKuv;
  }

  // Threads that were there before the DLL, for which its runtime has made nothing, throw and catch in it.
  static void RunOldThreads(int rounds) {
    for (int i = 0; i < rounds; ++i) {
      std::atomic<int> wrong = 0;
      std::atomic<HMODULE> module = nullptr;
      Together(kThreads, [&](int index) {
        if (index == 0) {
          const HMODULE loaded = ::LoadLibraryW(BuiltDll().c_str());
          if (!Throws(LiveFilter{})) ++wrong;
          module = loaded;
        }
        while (module == nullptr) std::this_thread::yield();
        if (!Throws(LiveFilter{})) ++wrong;
      });
      ASSERT_EQ(wrong, 0);
      ::FreeLibrary(module);
      ASSERT_EQ(::GetModuleHandleW(L"KuvCredFilter.dll"), nullptr);
    }
  }

  // One thread uses the DLL, life after life. Others load and unload it, or come and go, and nobody keeps it.
  static void RunUnkept(int rounds) {
    std::atomic<int> wrong = 0;
    Together(kThreads, [&](int index) {
      for (int i = 0; i < rounds; ++i) {
        if (index == 0) {
          if (!Throws(LiveFilter{})) ++wrong;
        } else if (index == 1) {
          std::thread{[] {}}.join();
        } else {
          ::FreeLibrary(::LoadLibraryW(BuiltDll().c_str()));
        }
      }
    });
    ASSERT_EQ(wrong, 0);
    ASSERT_EQ(::GetModuleHandleW(L"KuvCredFilter.dll"), nullptr);
  }

  FaultyImports imports{FaultyImports::Watch::Nothing};
};

TEST_F(SoakOnThreads, DecisionsAndLoadsAgree) {
  Configure();
  RunThreads(kOnlyAllowed);
  const Holdings before = CountHoldings();
  RunThreads(kOnlyAllowed);
  ExpectFlat(before, 4 * kSlack, kLocks);
}

TEST_F(SoakOnThreads, ExceptionsOnThreadsStayApart) {
  RunThreads(kWithoutKuv);
  const Holdings before = CountHoldings();
  RunThreads(kWithoutKuv);
  ExpectFlat(before, 4 * kSlack, kLocks);
}

TEST_F(SoakOnThreads, ThreadsOlderThanTheDllThrowInIt) {
  const int rounds = IsLong() ? 2'000 : 20;
  RunOldThreads(rounds);
  const Holdings before = CountHoldings();
  RunOldThreads(rounds);
  ExpectFlat(before, 4 * kSlack, kLocks);
}

TEST_F(SoakOnThreads, TheDllComesAndGoesWhileThreadsLive) {
  const int rounds = IsLong() ? 10'000 : 50;
  RunUnkept(rounds);
  const Holdings before = CountHoldings();
  RunUnkept(rounds);
  ExpectFlat(before, 4 * kSlack, kLocks);
}

}  // namespace
