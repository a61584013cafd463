#include "KuvAuth/Startup/LogStartup.h"

#include <shlobj.h>

#include <cstdint>
#include <cwchar>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Logging/LogHandlers.h"
#include "KuvAuth/Support/UniqueResource.h"
#include "Support/AllocationCounter.h"
#include "Support/DebuggerStream.h"
#include "Support/ImportHook.h"
#include "Support/RecordedFileCalls.h"
#include "Support/RegistrySandbox.h"
#include "Support/TempFolder.h"

namespace {

using KuvTest::AllocationCounter;
using KuvTest::DebuggerStream;
using KuvTest::ReadFileBytes;
using KuvTest::RegistrySandbox;
using KuvTest::TempFolder;
using KuvTest::WriteFileBytes;

using Events = std::vector<std::string>;

// No settings, no log, and a temporary folder as the common application data folder.
class LogStartup : public ::testing::Test {
 protected:
  LogStartup() {
    appData.Answer([this](HWND, int, HANDLE, DWORD, wchar_t* path) {
      EXPECT_EQ(g_logSystem, nullptr);
      if (!appDataExists) return E_FAIL;
      folder.Path().copy(path, MAX_PATH);
      return S_OK;
    });
    EXPECT_EQ(g_logSystem, nullptr);
  }
  ~LogStartup() override { g_logSystem.reset(); }

  std::wstring DefaultPath() const { return folder.Path(L"Kuvant\\kuv.log"); }

  TempFolder folder;
  RegistrySandbox registry;
  KuvTest::ImportHook<decltype(&::SHGetFolderPathW)> appData{"SHGetFolderPathW"};
  DebuggerStream stream;
  bool appDataExists = true;
};

template <typename Handler>
bool Holds(std::size_t index) {
  return dynamic_cast<Handler*>(g_logSystem->handlers.at(index).get()) != nullptr;
}

TEST_F(LogStartup, InstallsADebuggerHandlerThenAFileHandler) {
  const std::wstring path = folder.Path(L"own.log");
  EXPECT_TRUE(StartLogging(path));
  ASSERT_NE(g_logSystem, nullptr);
  ASSERT_EQ(g_logSystem->handlers.size(), 2u);
  EXPECT_TRUE(Holds<Kuv::DebugLogger>(0));
  EXPECT_TRUE(Holds<Kuv::FileLogger>(1));
  EXPECT_EQ(static_cast<int>(g_logSystem->minLevel), 3);
  EXPECT_EQ(static_cast<int>(g_logSystem->locationLevel), 0);
  EXPECT_EQ(appData.CallCount(), 0u);
  EXPECT_EQ(folder.Names(), (std::vector<std::wstring>{L"own.log"}));
}

TEST_F(LogStartup, OwnsEachHandlerExclusively) {
  StartLogging(folder.Path(L"own.log"));
  EXPECT_EQ(g_logSystem.use_count(), 1);
  for (const auto& handler : g_logSystem->handlers) EXPECT_EQ(handler.use_count(), 1);
}

TEST_F(LogStartup, WritesKuvLogInTheApplicationDataFolderByDefault) {
  EXPECT_TRUE(StartLogging(L""));
  KUV_LOG(LogLevel::Info, "text");
  StopLogging();
  EXPECT_TRUE(ReadFileBytes(DefaultPath()).ends_with(") [Info] text\r\n"));
  ASSERT_FALSE(stream.wide.empty());
  EXPECT_TRUE(stream.wide.back().ends_with(L") [Info] text\r\n"));
}

TEST_F(LogStartup, InstallsOnlyTheDebuggerHandlerWithoutAPathOrAFile) {
  for (const bool hasPath : {false, true}) {
    SCOPED_TRACE(hasPath);
    appDataExists = false;
    KUV_IMPORT_HOOK(create, CreateFileW);
    EXPECT_FALSE(StartLogging(hasPath ? folder.Path(L"missing\\own.log") : L""));
    ASSERT_NE(g_logSystem, nullptr);
    ASSERT_EQ(g_logSystem->handlers.size(), 1u);
    EXPECT_TRUE(Holds<Kuv::DebugLogger>(0));
    EXPECT_EQ(create.CallCount(), hasPath ? 1u : 0u);
    EXPECT_TRUE(stream.wide.empty()) << "logged before the log was in place";
    g_logSystem.reset();
  }
}

TEST_F(LogStartup, DoesNotRetryAFileThatCouldNotBeOpened) {
  appDataExists = false;
  ASSERT_FALSE(StartLogging(L""));
  appDataExists = true;
  EXPECT_TRUE(StartLogging(L""));
  EXPECT_EQ(g_logSystem->handlers.size(), 1u);
  EXPECT_EQ(appData.CallCount(), 1u);
}

TEST_F(LogStartup, ReadsNothingIfALogIsInPlace) {
  ASSERT_TRUE(StartLogging(folder.Path(L"own.log")));
  Kuv::LogSystem* const system = g_logSystem.get();
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  KUV_IMPORT_HOOK(create, CreateFileW);
  EXPECT_TRUE(StartLogging(folder.Path(L"other.log")));
  EXPECT_TRUE(StartLogging(L""));
  EXPECT_EQ(g_logSystem.get(), system);
  EXPECT_EQ(system->handlers.size(), 2u);
  EXPECT_EQ(open.CallCount() + create.CallCount() + appData.CallCount(), 0u);
  EXPECT_EQ(folder.Names(), (std::vector<std::wstring>{L"own.log"}));
}

TEST_F(LogStartup, KeepsALogSystemWithoutHandlers) {
  g_logSystem = std::make_shared<Kuv::LogSystem>();
  EXPECT_TRUE(StartLogging(L""));
  EXPECT_TRUE(g_logSystem->handlers.empty());
}

TEST_F(LogStartup, ReadsTheSettingsBeforeItLocatesAndOpensTheFile) {
  registry.Local().SetDword(L"LogFileMaxSizeMB", 1);
  registry.Local().SetDword(L"LogFileMaxCount", 1);
  Events events;
  KUV_IMPORT_HOOK(query, RegQueryValueExA);
  KUV_IMPORT_HOOK(attributes, GetFileAttributesExW);
  KUV_IMPORT_HOOK(create, CreateFileW);
  query.Answer([&](HKEY key, const char* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
    events.emplace_back(name);
    return query.Original(key, name, reserved, type, data, size);
  });
  appData.Answer([&](HWND, int, HANDLE, DWORD, wchar_t* path) {
    events.emplace_back("application data");
    folder.Path().copy(path, MAX_PATH);
    return S_OK;
  });
  attributes.Answer([&](const wchar_t*, GET_FILEEX_INFO_LEVELS, void*) {
    events.emplace_back("rotation");
    return FALSE;
  });
  create.Answer([&](const wchar_t*, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE) {
    EXPECT_EQ(g_logSystem, nullptr);
    events.emplace_back("open");
    return INVALID_HANDLE_VALUE;
  });
  StartLogging(L"");
  EXPECT_EQ(events, (Events{"LogFileMaxSizeMB", "LogFileMaxCount", "application data", "rotation", "open"}));
}

// The file calls of a start with a log file of a given size; they have no effect.
class RotationProbe : public KuvTest::RecordedFileCalls {
 public:
  RotationProbe() {
    create_.Answer([](auto&&...) { return INVALID_HANDLE_VALUE; });
  }

  /// Starts logging with a file of this size. Returns the numbered file that is deleted first; an empty
  /// text if the file is not rotated.
  std::wstring Oldest(std::uint64_t bytes) {
    size = bytes;
    calls.clear();
    StartLogging(L"kuv.log");
    StopLogging();
    return calls.empty() ? L"" : calls.front().substr(std::wcslen(L"delete "));
  }

 private:
  KUV_IMPORT_HOOK(create_, CreateFileW);
};

TEST_F(LogStartup, LimitsTheSizeSetting) {
  registry.Local().SetDword(L"LogFileMaxCount", 1);
  const std::pair<std::uint32_t, std::uint64_t> rows[] = {{1, 1024},
                                                          {2, 2048},
                                                          {100, 102400},
                                                          {4095, 4193280},
                                                          {4096, 4194304},
                                                          {4097, 4194304},
                                                          {5000, 4194304},
                                                          {0x3FFFFF, 4194304},
                                                          {0x400000, 4194304},
                                                          {0x7FFFFFFF, 4194304},
                                                          {0x80000000, 4194304},
                                                          {0xFFFFFFFE, 4194304},
                                                          {0xFFFFFFFF, 4194304}};
  RotationProbe probe;
  for (const auto& [setting, kilobytes] : rows) {
    SCOPED_TRACE(setting);
    registry.Local().SetDword(L"LogFileMaxSizeMB", setting);
    EXPECT_EQ(probe.Oldest(kilobytes * 1024 - 1), L"");
    EXPECT_EQ(probe.Oldest(kilobytes * 1024), L"kuv01.log");
  }
}

TEST_F(LogStartup, LimitsTheCountSetting) {
  registry.Local().SetDword(L"LogFileMaxSizeMB", 1);
  const std::pair<std::uint32_t, const wchar_t*> rows[] = {
      {1, L"kuv01.log"},           {9, L"kuv09.log"},          {99, L"kuv99.log"},
      {100, L"kuv100.log"},        {101, L"kuv100.log"},       {0x7FFFFFFF, L"kuv100.log"},
      {0x80000000, L"kuv100.log"}, {0xFFFFFFFF, L"kuv100.log"}};
  RotationProbe probe;
  for (const auto& [setting, oldest] : rows) {
    registry.Local().SetDword(L"LogFileMaxCount", setting);
    EXPECT_EQ(probe.Oldest(1 << 20), oldest) << setting;
  }
}

TEST_F(LogStartup, RotatesNothingUnlessBothSettingsAreAboveZero) {
  constexpr std::uint64_t kHuge = std::uint64_t{1} << 50;
  RotationProbe probe;
  EXPECT_EQ(probe.Oldest(kHuge), L"");
  registry.Local().SetDword(L"LogFileMaxSizeMB", 1);
  EXPECT_EQ(probe.Oldest(kHuge), L"");
  registry.Local().SetDword(L"LogFileMaxCount", 0);
  EXPECT_EQ(probe.Oldest(kHuge), L"");
  registry.Local().SetDword(L"LogFileMaxCount", 5);
  registry.Local().SetDword(L"LogFileMaxSizeMB", 0);
  EXPECT_EQ(probe.Oldest(kHuge), L"");
  registry.Local().DeleteValue(L"LogFileMaxSizeMB");
  EXPECT_EQ(probe.Oldest(kHuge), L"");
  EXPECT_EQ(probe.SizeQueries(), 0u);
}

TEST_F(LogStartup, PrefersPolicySettings) {
  registry.Local().SetDword(L"LogFileMaxSizeMB", 7);
  registry.Local().SetDword(L"LogFileMaxCount", 7);
  registry.Policy().SetDword(L"LogFileMaxSizeMB", 1);
  registry.Policy().SetDword(L"LogFileMaxCount", 3);
  RotationProbe probe;
  EXPECT_EQ(probe.Oldest(1 << 20), L"kuv03.log");
}

TEST_F(LogStartup, AppliesTheSettingsToTheDefaultFile) {
  registry.Local().SetDword(L"LogFileMaxSizeMB", 1);
  registry.Local().SetDword(L"LogFileMaxCount", 2);
  ASSERT_TRUE(StartLogging(L""));
  StopLogging();
  WriteFileBytes(DefaultPath(), std::string(1 << 20, 'x'));
  ASSERT_TRUE(StartLogging(L""));
  EXPECT_EQ(ReadFileBytes(DefaultPath()), "");
  EXPECT_EQ(ReadFileBytes(folder.Path(L"Kuvant\\kuv01.log")).size(), std::size_t{1} << 20);
}

TEST_F(LogStartup, AppendsToAFileOfAnySizeWithoutSettings) {
  const std::wstring path = folder.Path(L"own.log");
  WriteFileBytes(path, std::string(5 << 20, 'x'));
  ASSERT_TRUE(StartLogging(path));
  KUV_LOG(LogLevel::Info, "text");
  EXPECT_GT(ReadFileBytes(path).size(), std::size_t{5} << 20);
  EXPECT_EQ(folder.Names(), (std::vector<std::wstring>{L"own.log"}));
}

// Returns whether no other handle has the file open.
bool IsFree(const std::wstring& path) {
  const Kuv::UniqueFile file{::CreateFileW(path.c_str(), GENERIC_READ, /*dwShareMode=*/0, nullptr,
                                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)};
  return static_cast<bool>(file);
}

// Without hooks, since they allocate: each allocation of a start that rotates fails in turn.
TEST(StartLogging, PublishesNothingIfMemoryRunsOut) {
  const TempFolder folder;
  const RegistrySandbox registry;
  registry.Local().SetDword(L"LogFileMaxSizeMB", 1);
  registry.Local().SetDword(L"LogFileMaxCount", 2);
  const std::wstring path = folder.Path(L"own.log");
  const std::string content(1 << 20, 'x');
  std::size_t failing = 1;
  for (bool failed = true; failed; ++failing) {
    SCOPED_TRACE(failing);
    WriteFileBytes(path, content);
    bool thrown = false;
    {
      AllocationCounter counter{failing};
      try {
        StartLogging(path);
      } catch (const std::bad_alloc&) {
        thrown = true;
      }
      counter.Stop();
      failed = counter.HasFailed();
    }
    ASSERT_EQ(thrown, failed);
    ASSERT_EQ(g_logSystem == nullptr, failed);
    ASSERT_LT(failing, 200u);
    if (failed) {
      ASSERT_TRUE(IsFree(path));
    }
  }
  EXPECT_GT(failing, 10u);
  StopLogging();
}

TEST_F(LogStartup, ClosesTheFileIfMemoryRunsOutAfterItIsOpened) {
  const HANDLE file = reinterpret_cast<HANDLE>(std::uintptr_t{0x1234});
  const std::wstring path = folder.Path(L"own.log");
  KUV_IMPORT_HOOK(create, CreateFileW);
  KUV_IMPORT_HOOK(close, CloseHandle);
  std::unique_ptr<AllocationCounter> counter;
  create.Answer([&](const wchar_t*, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE) {
    counter = std::make_unique<AllocationCounter>(1);
    return file;
  });
  close.Answer([&](HANDLE) { return TRUE; });
  EXPECT_THROW(Kuv::OpenFileLogger(path, 0, 0), std::bad_alloc);
  counter.reset();
  EXPECT_EQ(close.Calls(), (std::vector<std::tuple<HANDLE>>{{file}}));
}

// A second thread may pass the test for a log while the first one builds its own: a start within a start
// shows that moment.
TEST_F(LogStartup, ReplacesALogThatAnotherStartHasPublishedMeanwhile) {
  const std::wstring ownPath = folder.Path(L"own.log");
  const std::wstring otherPath = folder.Path(L"other.log");
  HANDLE otherFile = INVALID_HANDLE_VALUE;
  KUV_IMPORT_HOOK(create, CreateFileW);
  KUV_IMPORT_HOOK(flush, FlushFileBuffers);
  KUV_IMPORT_HOOK(close, CloseHandle);
  create.Answer([&](const wchar_t* name, DWORD access, DWORD share, SECURITY_ATTRIBUTES* attributes,
                    DWORD disposition, DWORD flags, HANDLE pattern) {
    if (create.CallCount() == 1) {
      EXPECT_TRUE(StartLogging(otherPath));
      EXPECT_NE(g_logSystem, nullptr);
      KUV_LOG(LogLevel::Info, "text");
      otherFile = static_cast<Kuv::FileLogger&>(*g_logSystem->handlers.at(1)).file;
    }
    return create.Original(name, access, share, attributes, disposition, flags, pattern);
  });
  EXPECT_TRUE(StartLogging(ownPath));
  ASSERT_EQ(g_logSystem->handlers.size(), 2u);
  EXPECT_NE(static_cast<Kuv::FileLogger&>(*g_logSystem->handlers[1]).file, otherFile);
  // The replaced log is flushed, then destroyed with its file.
  EXPECT_EQ(flush.Calls(), (std::vector<std::tuple<HANDLE>>{{otherFile}, {otherFile}}));
  EXPECT_EQ(close.Calls(), (std::vector<std::tuple<HANDLE>>{{otherFile}}));
  KUV_LOG(LogLevel::Info, "later");
  EXPECT_TRUE(ReadFileBytes(ownPath).ends_with("later\r\n"));
  EXPECT_TRUE(ReadFileBytes(otherPath).ends_with("text\r\n"));
}

TEST_F(LogStartup, StopLoggingFlushesAndClosesTheFile) {
  ASSERT_TRUE(StartLogging(folder.Path(L"own.log")));
  const HANDLE file = static_cast<Kuv::FileLogger&>(*g_logSystem->handlers[1]).file;
  KUV_IMPORT_HOOK(flush, FlushFileBuffers);
  KUV_IMPORT_HOOK(close, CloseHandle);
  StopLogging();
  EXPECT_EQ(g_logSystem, nullptr);
  // Once as the log is replaced, once as the handler is destroyed.
  EXPECT_EQ(flush.Calls(), (std::vector<std::tuple<HANDLE>>{{file}, {file}}));
  EXPECT_EQ(close.Calls(), (std::vector<std::tuple<HANDLE>>{{file}}));
}

TEST_F(LogStartup, StopLoggingDoesNothingWithoutALog) {
  KUV_IMPORT_HOOK(flush, FlushFileBuffers);
  StopLogging();
  EXPECT_EQ(g_logSystem, nullptr);
  EXPECT_EQ(flush.CallCount(), 0u);
}

}  // namespace
