#include "KuvAuth/Logging/PlainLog.h"

#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "RecordingHandler.h"
#include "Support/AllocationCounter.h"
#include "Support/DebuggerStream.h"
#include "Support/ImportHook.h"
#include "Support/TempFolder.h"

namespace {

using KuvTest::DebuggerStream;
using KuvTest::ReadFileBytes;
using KuvTest::RecordingHandler;
using KuvTest::TempFolder;
using KuvTest::WriteFileBytes;

class PlainLog : public ::testing::Test {
 protected:
  PlainLog() { EXPECT_EQ(g_plainLog, nullptr); }
  ~PlainLog() override { g_plainLog.reset(); }

  std::string Content() const { return ReadFileBytes(path); }

  TempFolder folder;
  std::wstring path = folder.Path(L"plain.log");
  DebuggerStream stream;
};

// A plain log with a recording handler in place of the file.
class RecordedPlainLog : public ::testing::Test {
 protected:
  RecordedPlainLog() {
    g_plainLog = std::make_shared<Kuv::LogSystem>();
    g_plainLog->AddHandler(handler);
  }
  ~RecordedPlainLog() override { g_plainLog.reset(); }

  std::shared_ptr<RecordingHandler> handler = std::make_shared<RecordingHandler>();
};

TEST_F(PlainLog, StartsWithADebuggerHandlerThenAFileHandler) {
  EXPECT_TRUE(StartPlainLog(path));
  ASSERT_NE(g_plainLog, nullptr);
  ASSERT_EQ(g_plainLog->handlers.size(), 2u);
  EXPECT_NE(dynamic_cast<Kuv::DebugLogger*>(g_plainLog->handlers[0].get()), nullptr);
  EXPECT_NE(dynamic_cast<Kuv::FileLogger*>(g_plainLog->handlers[1].get()), nullptr);
  EXPECT_EQ(g_logSystem, nullptr) << "the main log does not change";
}

TEST_F(PlainLog, DoesNotStartWithoutAFile) {
  EXPECT_FALSE(StartPlainLog(L""));
  EXPECT_EQ(g_plainLog, nullptr);
  EXPECT_FALSE(StartPlainLog(folder.Path(L"missing\\plain.log")));
  EXPECT_EQ(g_plainLog, nullptr);
}

// Without hooks, since they allocate: each allocation of a start fails in turn.
TEST(StartPlainLog, StoresTheLogBeforeItsHandlers) {
  const TempFolder folder;
  const std::wstring path = folder.Path(L"plain.log");
  std::vector<std::size_t> handlers;  // of the log that a failed start has stored
  bool failed = true;
  for (std::size_t failing = 1; failed && failing < 100; ++failing) {
    SCOPED_TRACE(failing);
    KuvTest::AllocationCounter counter{failing};
    bool thrown = false;
    try {
      StartPlainLog(path);
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
    counter.Stop();
    failed = counter.HasFailed();
    EXPECT_EQ(thrown, failed);
    if (failed && g_plainLog != nullptr) handlers.push_back(g_plainLog->handlers.size());
    EXPECT_TRUE(failed || g_plainLog->handlers.size() == 2);
    g_plainLog.reset();
  }
  EXPECT_FALSE(failed);
  // Once before the handler for the debugger is added, and once after.
  ASSERT_FALSE(handlers.empty());
  EXPECT_EQ(handlers.front(), 0u);
  EXPECT_EQ(handlers.back(), 1u);
}

TEST_F(PlainLog, IsKeptWithoutItsFileIfMemoryRunsOutAfterItIsStored) {
  KUV_IMPORT_HOOK(create, CreateFileW);
  std::unique_ptr<KuvTest::AllocationCounter> counter;
  create.Answer([&](const wchar_t* name, DWORD access, DWORD share, SECURITY_ATTRIBUTES* attributes,
                    DWORD disposition, DWORD flags, HANDLE pattern) {
    const HANDLE file = create.Original(name, access, share, attributes, disposition, flags, pattern);
    // The file handler and its owner, the log, and then the handler for the debugger.
    counter = std::make_unique<KuvTest::AllocationCounter>(4);
    return file;
  });
  EXPECT_THROW(StartPlainLog(path), std::bad_alloc);
  counter.reset();
  EXPECT_NE(g_plainLog, nullptr);
  EXPECT_TRUE(StartPlainLog(path)) << "the log exists";
  PlainLogFormat("text");
  EXPECT_EQ(Content(), "");
}

TEST_F(PlainLog, KeepsItsFirstFile) {
  ASSERT_TRUE(StartPlainLog(path));
  Kuv::LogSystem* const system = g_plainLog.get();
  EXPECT_TRUE(StartPlainLog(folder.Path(L"other.log")));
  EXPECT_TRUE(StartPlainLog(L""));
  EXPECT_EQ(g_plainLog.get(), system);
  EXPECT_EQ(folder.Names(), (std::vector<std::wstring>{L"plain.log"}));
}

TEST_F(PlainLog, IsNeverRotated) {
  WriteFileBytes(path, std::string(1 << 20, 'x'));
  KUV_IMPORT_HOOK(attributes, GetFileAttributesExW);
  EXPECT_TRUE(StartPlainLog(path));
  EXPECT_EQ(attributes.CallCount(), 0u);
  EXPECT_EQ(Content().size(), std::size_t{1} << 20);
}

TEST_F(PlainLog, WritesLinesWithoutAPrefix) {
  StartPlainLog(path);
  PlainLogFormat("%s %d", "narrow", 1);
  PlainLogFormat(L"%s %S", L"wide", "narrow");
  EXPECT_EQ(Content(), "narrow 1\r\nwide narrow\r\n");
  EXPECT_EQ(stream.narrow, (std::vector<std::string>{"narrow 1\r\n"}));
  EXPECT_EQ(stream.wide, (std::vector<std::wstring>{L"wide narrow\r\n"}));
}

TEST_F(PlainLog, WritesNarrowTextUnchangedAndNoWideTextOutsideAscii) {
  StartPlainLog(path);
  PlainLogFormat("caf\xC3\xA9");
  PlainLogFormat(L"caf\xE9");
  EXPECT_EQ(Content(), "caf\xC3\xA9\r\n");
  EXPECT_EQ(stream.wide, (std::vector<std::wstring>{L"caf\xE9\r\n"}));
}

TEST_F(PlainLog, DropsEveryCallUntilItIsStarted) {
  PlainLogFormat("text");
  PlainLogFormat(L"text");
  // The formatter would read this as text.
  PlainLogFormat("%s", reinterpret_cast<const char*>(std::uintptr_t{1}));
  EXPECT_TRUE(stream.narrow.empty());
}

TEST_F(PlainLog, StopFlushesAndClosesItsFile) {
  StartPlainLog(path);
  const HANDLE file = static_cast<Kuv::FileLogger&>(*g_plainLog->handlers[1]).file;
  KUV_IMPORT_HOOK(flush, FlushFileBuffers);
  KUV_IMPORT_HOOK(close, CloseHandle);
  StopPlainLog();
  EXPECT_EQ(g_plainLog, nullptr);
  // Once by the log's own flush, once by the end of the handler.
  EXPECT_EQ(flush.Calls(), (std::vector<std::tuple<HANDLE>>{{file}, {file}}));
  EXPECT_EQ(close.Calls(), (std::vector<std::tuple<HANDLE>>{{file}}));
}

TEST_F(PlainLog, CanBeStoppedBeforeItsStartAndStartedAgain) {
  StopPlainLog();
  EXPECT_EQ(g_plainLog, nullptr);
  StartPlainLog(path);
  PlainLogFormat("one");
  StopPlainLog();
  EXPECT_TRUE(StartPlainLog(path));
  PlainLogFormat("two");
  EXPECT_EQ(Content(), "one\r\ntwo\r\n");
}

TEST_F(RecordedPlainLog, IgnoresTheMinimumLevel) {
  g_plainLog->minLevel = LogLevel::Critical;
  PlainLogFormat("narrow");
  PlainLogFormat(L"wide");
  ASSERT_EQ(handler->narrow.size(), 1u);
  ASSERT_EQ(handler->wide.size(), 1u);
  EXPECT_EQ(static_cast<int>(handler->narrow[0].first), 7);
  EXPECT_EQ(static_cast<int>(handler->wide[0].first), 7);
}

TEST_F(RecordedPlainLog, TruncatesTextAndThenItsLineEnd) {
  for (const std::size_t length : {2044u, 2045u, 2046u, 2047u, 2048u, 2049u, 4095u, 4096u, 5000u}) {
    SCOPED_TRACE(length);
    handler->narrow.clear();
    handler->wide.clear();
    const std::string narrow = std::string(length - 1, 'm') + 'e';
    const std::wstring wide{narrow.begin(), narrow.end()};
    PlainLogFormat("%s", narrow.c_str());
    PlainLogFormat(L"%s", wide.c_str());
    ASSERT_EQ(handler->narrow.size(), 1u);
    ASSERT_EQ(handler->wide.size(), 1u);
    EXPECT_EQ(handler->narrow[0].second, (narrow.substr(0, 2047) + "\r\n").substr(0, 2047));
    EXPECT_EQ(handler->wide[0].second, (wide.substr(0, 2047) + L"\r\n").substr(0, 2047));
  }
}

TEST_F(RecordedPlainLog, WritesALineEndForAnEmptyTextAndNothingForANullFormat) {
  const char* const narrow = nullptr;
  const wchar_t* const wide = nullptr;
  PlainLogFormat(narrow);
  PlainLogFormat(wide);
  PlainLogFormat("%s", "");
  PlainLogFormat(L"%s", L"");
  ASSERT_EQ(handler->narrow.size(), 1u);
  ASSERT_EQ(handler->wide.size(), 1u);
  EXPECT_EQ(handler->narrow[0].second, "\r\n");
  EXPECT_EQ(handler->wide[0].second, L"\r\n");
}

}  // namespace
