#include "KuvAuth/Support/CriticalSection.h"

#include <windows.h>

#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Support/ImportHook.h"
#include "Support/Together.h"

namespace {

using Kuv::CriticalSection;

TEST(CriticalSection, CallsThePlatformInPairsOnOneSection) {
  using Event = std::pair<std::string, CRITICAL_SECTION*>;
  std::vector<Event> events;
  KUV_IMPORT_HOOK(initialize, InitializeCriticalSectionAndSpinCount);
  KUV_IMPORT_HOOK(enter, EnterCriticalSection);
  KUV_IMPORT_HOOK(leave, LeaveCriticalSection);
  KUV_IMPORT_HOOK(remove, DeleteCriticalSection);
  initialize.Answer([&](CRITICAL_SECTION* section, DWORD spinCount) {
    events.emplace_back("initialize " + std::to_string(spinCount), section);
    return TRUE;
  });
  enter.Answer([&](CRITICAL_SECTION* section) { events.emplace_back("enter", section); });
  leave.Answer([&](CRITICAL_SECTION* section) { events.emplace_back("leave", section); });
  remove.Answer([&](CRITICAL_SECTION* section) { events.emplace_back("delete", section); });
  CRITICAL_SECTION* first = nullptr;
  {
    CriticalSection section{1234};
    first = reinterpret_cast<CRITICAL_SECTION*>(&section);
    const std::lock_guard guard{section};
    section.lock();
    section.unlock();
  }
  EXPECT_EQ(events, (std::vector<Event>{{"initialize 1234", first},
                                        {"enter", first},
                                        {"enter", first},
                                        {"leave", first},
                                        {"leave", first},
                                        {"delete", first}}));
}

TEST(CriticalSection, AdmitsOneThreadAtATime) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 2000;
  CriticalSection section{0};
  // Volatile, so that each round reads and writes it; another thread in between would be lost.
  volatile int count = 0;
  KuvTest::Together(kThreads, [&](int) {
    for (int round = 0; round < kRounds; ++round) {
      const std::lock_guard guard{section};
      const int before = count;
      if (round % 100 == 0) std::this_thread::yield();
      count = before + 1;
    }
  });
  EXPECT_EQ(count, kThreads * kRounds);
}

// Another thread asks whether the section is free, since it would wait forever if it is not.
bool IsFree(CriticalSection& section) {
  bool entered = false;
  std::thread other{[&] {
    auto* const native = reinterpret_cast<CRITICAL_SECTION*>(&section);
    entered = ::TryEnterCriticalSection(native) != FALSE;
    if (entered) ::LeaveCriticalSection(native);
  }};
  other.join();
  return entered;
}

TEST(CriticalSection, IsFreeOnceItsOwnerHasLeftAsOftenAsItEntered) {
  CriticalSection section{1000};
  EXPECT_TRUE(IsFree(section));
  section.lock();
  section.lock();
  EXPECT_FALSE(IsFree(section));
  section.unlock();
  EXPECT_FALSE(IsFree(section));
  section.unlock();
  EXPECT_TRUE(IsFree(section));
}

}  // namespace
