#include "KuvAuth/Logging/LogSystem.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "LineClock.h"
#include "RecordingHandler.h"
#include "Support/AllocationCounter.h"
#include "Support/ImportHook.h"

namespace {

using KuvTest::LineClock;
using KuvTest::RecordedSystem;
using KuvTest::RecordingHandler;

using Events = std::vector<std::string>;

// Records each call and its destruction in a list that several handlers share.
class EventHandler : public Kuv::ILogHandler {
 public:
  EventHandler(Events& events, std::string name) : events_(events), name_(std::move(name)) {}
  virtual ~EventHandler() { events_.push_back(name_ + " destroyed"); }

  void LogWrite(LogLevel, const wchar_t*) override { Record("wide"); }
  void LogWrite(LogLevel, const char*) override { Record("narrow"); }
  void Flush() override { Record("flush"); }

  bool throws = false;

 private:
  void Record(const char* call) {
    events_.push_back(name_ + " " + call);
    if (throws) throw std::runtime_error{"handler failed"};
  }

  Events& events_;
  std::string name_;
};

void Write(Kuv::LogSystem& system, LogLevel level = LogLevel::Info) {
  system.Write(level, "file.cpp", 1, L"text");
}

TEST(LogSystem, StartsEmptyAtInfoWithoutLocations) {
  const Kuv::LogSystem system;
  EXPECT_EQ(static_cast<int>(system.locationLevel), 0);
  EXPECT_EQ(static_cast<int>(system.minLevel), 3);
  EXPECT_TRUE(system.handlers.empty());
}

TEST(LogSystem, DropsTraceAndDebugUntilTheMinimumLevelIsTrace) {
  RecordedSystem recorded{LogLevel::Info};
  Write(recorded.system, LogLevel::Trace);
  Write(recorded.system, LogLevel::Debug);
  EXPECT_TRUE(recorded.handler->wide.empty());
  recorded.system.minLevel = LogLevel::Trace;
  Write(recorded.system, LogLevel::Trace);
  Write(recorded.system, LogLevel::Debug);
  EXPECT_EQ(recorded.handler->wide.size(), 2u);
}

TEST(LogSystem, ComparesLevelsSigned) {
  RecordedSystem recorded{LogLevel{-2}};
  for (const int level : {-3, -2, 0, 3, 2147483647}) Write(recorded.system, LogLevel{level});
  std::vector<int> passed;
  for (const auto& [level, text] : recorded.handler->wide) passed.push_back(static_cast<int>(level));
  EXPECT_EQ(passed, (std::vector<int>{-2, 0, 3, 2147483647}));
}

TEST(LogSystem, WritesNoTagForLevelSevenAndAnEmptyTagForLevelZero) {
  const LineClock clock;
  RecordedSystem plain{LogLevel::Critical};
  Write(plain.system, LogLevel{7});
  EXPECT_EQ(plain.Line(), LineClock::TimeAndIds() + L"text\r\n");
  // Level 0 is not above the default location level, so the line has its location too.
  RecordedSystem zero{LogLevel{0}};
  Write(zero.system, LogLevel{0});
  EXPECT_EQ(zero.Line(), LineClock::TimeAndIds() + L"file.cpp(1) [] text\r\n");
}

TEST(LogSystem, PassesEitherWidthOnAsWideText) {
  const LineClock clock;
  RecordedSystem recorded;
  recorded.system.Write(LogLevel::Info, "file.cpp", 1, "narrow");
  recorded.system.Write(LogLevel::Error, "file.cpp", 1, L"wide");
  const std::vector<std::pair<LogLevel, std::wstring>> expected{
      {LogLevel::Info, LineClock::TimeAndIds() + L"[Info] narrow\r\n"},
      {LogLevel::Error, LineClock::TimeAndIds() + L"[Error] wide\r\n"}};
  EXPECT_EQ(recorded.handler->wide, expected);
  EXPECT_TRUE(recorded.handler->narrow.empty());
}

TEST(LogSystem, DropsNullTextAndRawTextBelowTheMinimumLevel) {
  RecordedSystem recorded{LogLevel::Info};
  const char* const narrow = nullptr;
  const wchar_t* const wide = nullptr;
  recorded.system.Write(LogLevel::Info, "file.cpp", 1, narrow);
  recorded.system.Write(LogLevel::Info, "file.cpp", 1, wide);
  recorded.system.WriteRaw(LogLevel::Info, narrow);
  recorded.system.WriteRaw(LogLevel::Info, wide);
  recorded.system.WriteUnfiltered(LogLevel::Info, narrow);
  recorded.system.WriteUnfiltered(LogLevel::Info, wide);
  recorded.system.WriteRaw(LogLevel::Debug, "dropped");
  recorded.system.WriteRaw(LogLevel::Debug, L"dropped");
  EXPECT_TRUE(recorded.handler->wide.empty());
  EXPECT_TRUE(recorded.handler->narrow.empty());
}

TEST(LogSystem, WritesRawTextUnchanged) {
  RecordedSystem recorded;
  const std::string longText(5000, 'n');
  recorded.system.WriteRaw(LogLevel::Info, "no line end");
  recorded.system.WriteRaw(LogLevel::Error, L"caf\xE9");
  recorded.system.WriteRaw(LogLevel::Info, longText.c_str());
  recorded.system.WriteRaw(LogLevel::Info, "");
  const std::vector<std::pair<LogLevel, std::string>> narrow{
      {LogLevel::Info, "no line end"}, {LogLevel::Info, longText}, {LogLevel::Info, ""}};
  const std::vector<std::pair<LogLevel, std::wstring>> wide{{LogLevel::Error, L"caf\xE9"}};
  EXPECT_EQ(recorded.handler->narrow, narrow);
  EXPECT_EQ(recorded.handler->wide, wide);
}

TEST(LogSystem, WritesUnfilteredTextWhateverItsLevel) {
  RecordedSystem recorded{LogLevel::Info};
  recorded.system.WriteUnfiltered(LogLevel{-9}, "narrow");
  recorded.system.WriteUnfiltered(LogLevel{-9}, L"wide");
  const std::vector<std::pair<LogLevel, std::string>> narrow{{LogLevel{-9}, "narrow"}};
  const std::vector<std::pair<LogLevel, std::wstring>> wide{{LogLevel{-9}, L"wide"}};
  EXPECT_EQ(recorded.handler->narrow, narrow);
  EXPECT_EQ(recorded.handler->wide, wide);
}

TEST(LogSystem, CallsItsHandlersInTheOrderTheyWereAdded) {
  Events events;
  Kuv::LogSystem system;
  for (const char* const name : {"c", "a", "b"})
    system.AddHandler(std::make_shared<EventHandler>(events, name));
  Write(system);
  system.WriteRaw(LogLevel::Info, "text");
  system.WriteUnfiltered(LogLevel::Info, L"text");
  system.Flush();
  EXPECT_EQ(events, (Events{"c wide", "a wide", "b wide", "c narrow", "a narrow", "b narrow", "c wide",
                            "a wide", "b wide", "c flush", "a flush", "b flush"}));
}

TEST(LogSystem, AcceptsAHandlerTwiceAndIgnoresNullAndUnknownHandlers) {
  RecordedSystem recorded;
  recorded.system.AddHandler(nullptr);
  EXPECT_EQ(recorded.system.handlers.size(), 1u);
  recorded.system.RemoveHandler(nullptr);
  EXPECT_EQ(recorded.system.handlers.size(), 1u);
  recorded.system.RemoveHandler(std::make_shared<RecordingHandler>());
  EXPECT_EQ(recorded.system.handlers.size(), 1u);
  recorded.system.AddHandler(recorded.handler);
  Write(recorded.system);
  EXPECT_EQ(recorded.handler->wide.size(), 2u);
}

TEST(LogSystem, RemovesEveryEntryOfAHandlerAndKeepsTheOrderOfTheRest) {
  Events events;
  Kuv::LogSystem system;
  const auto twice = std::make_shared<EventHandler>(events, "twice");
  system.AddHandler(twice);
  system.AddHandler(std::make_shared<EventHandler>(events, "first"));
  system.AddHandler(twice);
  system.AddHandler(std::make_shared<EventHandler>(events, "second"));
  system.RemoveHandler(twice);
  EXPECT_EQ(system.handlers.size(), 2u);
  Write(system);
  EXPECT_EQ(events, (Events{"first wide", "second wide"}));
}

TEST(LogSystem, RemovesAHandlerGivenByAReferenceToItsEntry) {
  Events events;
  Kuv::LogSystem system;
  system.AddHandler(std::make_shared<EventHandler>(events, "twice"));
  system.AddHandler(std::make_shared<EventHandler>(events, "other"));
  system.AddHandler(system.handlers.front());
  system.RemoveHandler(system.handlers.front());
  EXPECT_EQ(events, (Events{"twice destroyed"}));
  ASSERT_EQ(system.handlers.size(), 1u);
  Write(system);
  EXPECT_EQ(events.back(), "other wide");
}

TEST(LogSystem, SharesOwnershipOfItsHandlers) {
  Events events;
  auto kept = std::make_shared<EventHandler>(events, "kept");
  {
    Kuv::LogSystem system;
    system.AddHandler(kept);
    system.AddHandler(std::make_shared<EventHandler>(events, "given"));
    EXPECT_EQ(kept.use_count(), 2);
  }
  EXPECT_EQ(events, (Events{"given destroyed"}));
  EXPECT_EQ(kept.use_count(), 1);
}

TEST(LogSystem, CallsTheNextHandlerAfterOneThatThrows) {
  Events events;
  Kuv::LogSystem system;
  const auto first = std::make_shared<EventHandler>(events, "first");
  first->throws = true;
  system.AddHandler(first);
  system.AddHandler(std::make_shared<EventHandler>(events, "next"));
  EXPECT_NO_THROW(Write(system));
  EXPECT_NO_THROW(system.WriteRaw(LogLevel::Info, "text"));
  EXPECT_NO_THROW(system.WriteUnfiltered(LogLevel::Info, L"text"));
  EXPECT_NO_THROW(system.Flush());
  EXPECT_EQ(events, (Events{"first wide", "next wide", "first narrow", "next narrow", "first wide",
                            "next wide", "first flush", "next flush"}));
}

// The lock calls of one log system, among the events of its handlers.
class LockEvents {
 public:
  LockEvents() {
    initialize_.Answer([this](CRITICAL_SECTION* section, DWORD spinCount) {
      events.push_back("create " + std::to_string(spinCount));
      section_ = section;
      return initialize_.Original(section, spinCount);
    });
    enter_.Answer([this](CRITICAL_SECTION* section) {
      if (section == section_) events.push_back("enter");
      enter_.Original(section);
    });
    leave_.Answer([this](CRITICAL_SECTION* section) {
      if (section == section_) events.push_back("leave");
      leave_.Original(section);
    });
    delete_.Answer([this](CRITICAL_SECTION* section) {
      if (section == section_) events.push_back("delete");
      delete_.Original(section);
    });
  }

  Events events;

 private:
  CRITICAL_SECTION* section_ = nullptr;
  KuvTest::ImportHook<decltype(&::InitializeCriticalSectionAndSpinCount)> initialize_{
      "InitializeCriticalSectionAndSpinCount"};
  KuvTest::ImportHook<decltype(&::EnterCriticalSection)> enter_{"EnterCriticalSection"};
  KuvTest::ImportHook<decltype(&::LeaveCriticalSection)> leave_{"LeaveCriticalSection"};
  KuvTest::ImportHook<decltype(&::DeleteCriticalSection)> delete_{"DeleteCriticalSection"};
};

TEST(LogSystemLock, IsCreatedWithItsSpinCountAndHeldWhileHandlersAreReleased) {
  LockEvents lock;
  {
    Kuv::LogSystem system;
    system.AddHandler(std::make_shared<EventHandler>(lock.events, "handler"));
  }
  EXPECT_EQ(lock.events,
            (Events{"create 1000", "enter", "leave", "enter", "handler destroyed", "leave", "delete"}));
}

TEST(LogSystemLock, IsHeldDuringTheHandlerCallsOfEveryOperation) {
  LockEvents lock;
  Kuv::LogSystem system;
  const auto handler = std::make_shared<EventHandler>(lock.events, "handler");
  system.AddHandler(handler);
  const std::pair<std::function<void()>, Events> operations[] = {
      {[&] { Write(system); }, {"enter", "handler wide", "leave"}},
      {[&] { system.Write(LogLevel::Info, "file.cpp", 1, "text"); }, {"enter", "handler wide", "leave"}},
      {[&] { system.WriteRaw(LogLevel::Info, "text"); }, {"enter", "handler narrow", "leave"}},
      {[&] { system.WriteRaw(LogLevel::Info, L"text"); }, {"enter", "handler wide", "leave"}},
      {[&] { system.WriteUnfiltered(LogLevel::Info, "text"); }, {"enter", "handler narrow", "leave"}},
      {[&] { system.WriteUnfiltered(LogLevel::Info, L"text"); }, {"enter", "handler wide", "leave"}},
      {[&] { system.Flush(); }, {"enter", "handler flush", "leave"}},
      {[&] { system.AddHandler(handler); }, {"enter", "leave"}},
      {[&] { system.RemoveHandler(handler); }, {"enter", "leave"}},
  };
  for (const auto& [operation, expected] : operations) {
    lock.events.clear();
    operation();
    EXPECT_EQ(lock.events, expected);
  }
}

TEST(LogSystemLock, IsNotAcquiredForADroppedCall) {
  LockEvents lock;
  Kuv::LogSystem system;
  lock.events.clear();
  Write(system, LogLevel::Debug);
  system.WriteRaw(LogLevel::Debug, "text");
  system.WriteRaw(LogLevel::Info, static_cast<const char*>(nullptr));
  system.AddHandler(nullptr);
  system.RemoveHandler(nullptr);
  EXPECT_EQ(lock.events, Events{});
}

TEST(LogSystemLock, IsReleasedAfterAHandlerThrows) {
  LockEvents lock;
  Kuv::LogSystem system;
  const auto handler = std::make_shared<EventHandler>(lock.events, "handler");
  handler->throws = true;
  system.AddHandler(handler);
  lock.events.clear();
  Write(system);
  EXPECT_EQ(lock.events, (Events{"enter", "handler wide", "leave"}));
}

TEST(LogSystemLock, IsReleasedAfterAHandlerCouldNotBeAdded) {
  LockEvents lock;
  lock.events.reserve(100);
  Kuv::LogSystem system;
  const auto handler = std::make_shared<EventHandler>(lock.events, "handler");
  std::size_t entered = 0;
  std::size_t left = 0;
  KUV_IMPORT_HOOK(enter, EnterCriticalSection);
  KUV_IMPORT_HOOK(leave, LeaveCriticalSection);
  std::unique_ptr<KuvTest::AllocationCounter> counter;
  // Between the two calls, only the growing list allocates.
  enter.Answer([&](CRITICAL_SECTION*) {
    ++entered;
    counter = std::make_unique<KuvTest::AllocationCounter>(1);
  });
  leave.Answer([&](CRITICAL_SECTION*) {
    counter.reset();
    ++left;
  });
  EXPECT_THROW(system.AddHandler(handler), std::bad_alloc);
  EXPECT_EQ(entered, 1u);
  EXPECT_EQ(left, 1u);
  EXPECT_TRUE(system.handlers.empty());
  EXPECT_EQ(handler.use_count(), 1);
}

TEST(LogSystemLock, IsNotHeldWhileALineIsFormatted) {
  LockEvents lock;
  KUV_IMPORT_HOOK(clock, GetLocalTime);
  clock.Answer([&](SYSTEMTIME* time) {
    lock.events.push_back("clock");
    *time = {};
  });
  Kuv::LogSystem system;
  system.AddHandler(std::make_shared<EventHandler>(lock.events, "handler"));
  lock.events.clear();
  Write(system);
  EXPECT_EQ(lock.events, (Events{"clock", "enter", "handler wide", "leave"}));
}

}  // namespace
