#include <algorithm>
#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "KuvAuth/Logging/LogFront.h"
#include "Support/AllocationCounter.h"
#include "Support/LogCapture.h"
#include "Support/TempFolder.h"
#include "Support/Together.h"

namespace {

using KuvTest::AllocationCounter;
using KuvTest::ReadFileBytes;
using KuvTest::TempFolder;
using KuvTest::Together;

constexpr int kThreads = 8;
constexpr int kLinesPerThread = 5000;

// Collects lines without a lock and counts calls that overlap.
struct CollectingHandler : Kuv::ILogHandler {
  virtual ~CollectingHandler() = default;

  void LogWrite(LogLevel, const wchar_t* text) override {
    if (inside.exchange(true)) ++overlaps;
    for (; *text != L'\0'; ++text) bytes.push_back(static_cast<char>(*text));
    inside = false;
  }
  void LogWrite(LogLevel, const char*) override {}
  void Flush() override {}

  std::string bytes;
  std::atomic<bool> inside{false};
  std::atomic<int> overlaps{0};
};

// Checks that every line is complete, each thread's lines are in order and none is missing.
void CheckLines(std::string_view text) {
  std::vector<int> next(kThreads, 0);
  while (!text.empty()) {
    const std::size_t end = text.find("\r\n");
    ASSERT_NE(end, std::string_view::npos);
    const std::string line{text.substr(0, end)};
    text.remove_prefix(end + 2);
    const std::size_t message = line.find(") [Info] ");
    ASSERT_NE(message, std::string::npos) << line;
    int thread = -1;
    int number = -1;
    int length = 0;
    ASSERT_EQ(
        std::sscanf(line.c_str() + message, ") [Info] thread %d line %d end%n", &thread, &number, &length), 2)
        << line;
    ASSERT_EQ(message + static_cast<std::size_t>(length), line.size()) << line;
    ASSERT_TRUE(thread >= 0 && thread < kThreads) << line;
    ASSERT_EQ(number, next[static_cast<std::size_t>(thread)]++) << line;
  }
  EXPECT_EQ(next, std::vector<int>(kThreads, kLinesPerThread));
}

TEST(LogSystemStress, EightThreadsWriteEveryLineCompletely) {
  const TempFolder folder;
  const std::wstring path = folder.Path(L"stress.log");
  const auto collector = std::make_shared<CollectingHandler>();
  {
    Kuv::LogSystem system;
    system.AddHandler(Kuv::OpenFileLogger(path, 0, 0));
    system.AddHandler(collector);
    Together(kThreads, [&system](int thread) {
      for (int line = 0; line < kLinesPerThread; ++line) {
        LogFormatTo({LogLevel::Info, __FILE__, __LINE__}, system, L"thread %d line %d end", thread, line);
      }
    });
  }
  EXPECT_EQ(collector->overlaps, 0);
  CheckLines(collector->bytes);
  EXPECT_TRUE(ReadFileBytes(path) == collector->bytes);
}

TEST(LogSystemStress, ManyThreadsCanLogWhileHandlersAreAddedAndRemoved) {
  Kuv::LogSystem system;
  const auto collector = std::make_shared<CollectingHandler>();
  const auto guest = std::make_shared<CollectingHandler>();
  system.AddHandler(collector);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&system, thread] {
      for (int line = 0; line < kLinesPerThread; ++line) {
        LogFormatTo({LogLevel::Info, __FILE__, __LINE__}, system, L"thread %d line %d end", thread, line);
      }
    });
  }
  for (int round = 0; round < 500; ++round) {
    system.AddHandler(guest);
    system.Flush();
    system.RemoveHandler(guest);
  }
  for (std::thread& thread : threads) thread.join();
  CheckLines(collector->bytes);
  EXPECT_EQ(collector->overlaps + guest->overlaps, 0);
}

TEST(LogSystemStress, AnotherThreadCanLogAfterAHandlerThrows) {
  struct ThrowingHandler : Kuv::ILogHandler {
    virtual ~ThrowingHandler() = default;
    void LogWrite(LogLevel, const wchar_t*) override { throw 1; }
    void LogWrite(LogLevel, const char*) override { throw 1; }
    void Flush() override { throw 1; }
  };
  Kuv::LogSystem system;
  const auto collector = std::make_shared<CollectingHandler>();
  system.AddHandler(std::make_shared<ThrowingHandler>());
  system.AddHandler(collector);
  const auto write = [&] { system.Write(LogLevel::Info, "file.cpp", 1, L"x"); };
  write();
  std::thread{write}.join();
  EXPECT_EQ(std::count(collector->bytes.begin(), collector->bytes.end(), '\n'), 2);
}

TEST(AllocationCounter, CountsEveryKindOfAllocation) {
  AllocationCounter counter;
  const auto text = std::make_unique<std::string>(100, 'x');
  const std::size_t allocations = counter.Stop();
  EXPECT_GE(allocations, 2u);
}

TEST(LogSystem, AllocatesNothingForALine) {
  struct SilentHandler : Kuv::ILogHandler {
    virtual ~SilentHandler() = default;
    void LogWrite(LogLevel, const wchar_t*) override { ++calls; }
    void LogWrite(LogLevel, const char*) override { ++calls; }
    void Flush() override {}
    int calls = 0;
  };
  const TempFolder folder;
  KuvTest::LogCapture log;
  Kuv::LogSystem& system = log.System();
  const auto silent = std::make_shared<SilentHandler>();
  system.handlers.clear();
  system.AddHandler(silent);
  system.AddHandler(Kuv::OpenFileLogger(folder.Path(L"kuv.log"), 0, 0));
  const std::string narrowText(3000, 'n');
  const std::wstring wideText(3000, L'w');
  const LogRecord record{LogLevel::Info, "file.cpp", 1};

  AllocationCounter counter;
  LogFormat(record, "%s %d", "narrow", 1);
  LogFormat(record, L"%s %S %d", L"wide", "narrow", 1);
  LogFormat(record, "caf\xC3\xA9");
  LogFormatTo(record, system, L"%s", wideText.c_str());
  LogTo(record, system, wideText.c_str());
  LogString(record, narrowText);
  system.WriteRaw(LogLevel::Info, narrowText.c_str());
  KUV_LOG(LogLevel::Debug, "filtered %d", 1);
  const std::size_t allocations = counter.Stop();

  EXPECT_EQ(allocations, 0u);
  EXPECT_EQ(silent->calls, 8);
}

}  // namespace
