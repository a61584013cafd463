#include "KuvAuth/Logging/LogHandlers.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "KuvAuth/Logging/LogSystem.h"
#include "KuvAuth/Support/UniqueResource.h"
#include "RecordingHandler.h"
#include "Support/DebuggerStream.h"
#include "Support/ImportHook.h"
#include "Support/LogCapture.h"
#include "Support/TempFolder.h"
#include "Support/VirtualTable.h"

namespace {

using Kuv::DebugLogger;
using Kuv::FileLogger;
using Kuv::OpenFileLogger;
using KuvTest::DebuggerStream;
using KuvTest::ReadFileBytes;
using KuvTest::TempFolder;
using KuvTest::WriteFileBytes;

constexpr const wchar_t* kNoWideText = nullptr;
constexpr const char* kNoNarrowText = nullptr;

#if defined(_WIN64)
TEST(LogHandler, HasItsOperationsInOrder) {
  KuvTest::RecordingHandler handler;
  KuvTest::CallSlot<void>(&handler, 0, LogLevel::Info, L"wide");
  EXPECT_EQ(handler.wide, (std::vector<std::pair<LogLevel, std::wstring>>{{LogLevel::Info, L"wide"}}));
  KuvTest::CallSlot<void>(&handler, 1, LogLevel::Error, "narrow");
  EXPECT_EQ(handler.narrow, (std::vector<std::pair<LogLevel, std::string>>{{LogLevel::Error, "narrow"}}));
  KuvTest::CallSlot<void>(&handler, 2);
  EXPECT_EQ(handler.flushes, 1);
}
#endif

class FileLoggerTest : public ::testing::Test {
 protected:
  std::string Content() const { return ReadFileBytes(path); }

  TempFolder folder;
  std::wstring path = folder.Path(L"kuv.log");
};

class OpenedFileLogger : public FileLoggerTest {
 protected:
  std::unique_ptr<FileLogger> logger = OpenFileLogger(path, 0, 0);
};

TEST(DebugLogger, WritesEitherWidthToTheDebuggerStream) {
  DebuggerStream stream;
  DebugLogger logger;
  logger.LogWrite(LogLevel::Trace, L"caf\xE9\r\n");
  logger.LogWrite(LogLevel{-1}, "caf\xC3\xA9");
  logger.LogWrite(LogLevel::Critical, L"");
  EXPECT_EQ(stream.wide, (std::vector<std::wstring>{L"caf\xE9\r\n", L""}));
  EXPECT_EQ(stream.narrow, (std::vector<std::string>{"caf\xC3\xA9"}));
}

TEST(DebugLogger, IgnoresNullTextAndFlush) {
  DebuggerStream stream;
  KUV_IMPORT_HOOK(flush, FlushFileBuffers);
  DebugLogger logger;
  logger.LogWrite(LogLevel::Info, kNoWideText);
  logger.LogWrite(LogLevel::Info, kNoNarrowText);
  logger.Flush();
  EXPECT_EQ(flush.CallCount(), 0u);
  EXPECT_TRUE(stream.wide.empty());
  EXPECT_TRUE(stream.narrow.empty());
}

TEST_F(FileLoggerTest, OpensForSharedAppendingWithWriteThrough) {
  KUV_IMPORT_HOOK(create, CreateFileW);
  std::wstring opened;
  create.Answer([&](const wchar_t* name, DWORD access, DWORD share, SECURITY_ATTRIBUTES* attributes,
                    DWORD disposition, DWORD flags, HANDLE pattern) {
    opened = name;
    return create.Original(name, access, share, attributes, disposition, flags, pattern);
  });
  const auto logger = OpenFileLogger(path, 0, 0);
  ASSERT_EQ(create.CallCount(), 1u);
  EXPECT_EQ(opened, path);
  const auto& [name, access, share, attributes, disposition, flags, pattern] = create.Calls()[0];
  EXPECT_EQ(access, 4u);  // FILE_APPEND_DATA alone
  EXPECT_EQ(share, 7u);   // read, write, delete
  EXPECT_EQ(attributes, nullptr);
  EXPECT_EQ(disposition, 4u);     // OPEN_ALWAYS
  EXPECT_EQ(flags, 0x80000080u);  // write-through, normal
  EXPECT_EQ(pattern, nullptr);
}

TEST_F(OpenedFileLogger, StartsWithAnOpenFileAndAZeroedBuffer) {
  ASSERT_NE(logger, nullptr);
  EXPECT_NE(logger->file, INVALID_HANDLE_VALUE);
  static_assert(sizeof(logger->scratch) == 4096);
  EXPECT_EQ(std::string(logger->scratch, 4096), std::string(4096, '\0'));
  EXPECT_EQ(Content(), "");
}

TEST_F(FileLoggerTest, IsNotOpenedForAnEmptyPath) {
  KUV_IMPORT_HOOK(create, CreateFileW);
  KUV_IMPORT_HOOK(attributes, GetFileAttributesExW);
  EXPECT_EQ(OpenFileLogger(L"", 1, 1), nullptr);
  EXPECT_EQ(create.CallCount(), 0u);
  EXPECT_EQ(attributes.CallCount(), 0u);
}

TEST_F(FileLoggerTest, IsNullWithoutALineIfTheFileCannotBeOpened) {
  const DebuggerStream stream;
  const KuvTest::LogCapture log;
  EXPECT_EQ(OpenFileLogger(folder.Path(L"missing\\kuv.log"), 0, 0), nullptr);
  EXPECT_EQ(OpenFileLogger(folder.Path(), 0, 0), nullptr);
  EXPECT_TRUE(stream.wide.empty());
  EXPECT_TRUE(log.RawLines().empty());
}

TEST_F(FileLoggerTest, IsNullIfAnotherHandleAllowsNoSharing) {
  const Kuv::UniqueFile other{::CreateFileW(path.c_str(), GENERIC_WRITE, /*dwShareMode=*/0, nullptr,
                                            CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr)};
  ASSERT_TRUE(other);
  EXPECT_EQ(OpenFileLogger(path, 0, 0), nullptr);
}

TEST_F(OpenedFileLogger, WritesAnAsciiLineUnchanged) {
  logger->LogWrite(LogLevel::Trace, L"06/02/25 text\r\n");
  EXPECT_EQ(Content(), "06/02/25 text\r\n");
  logger->LogWrite(LogLevel::Critical, L"next\r\n");
  EXPECT_EQ(Content(), "06/02/25 text\r\nnext\r\n");
}

TEST_F(OpenedFileLogger, WritesEachTextWithOneCallAndWithoutItsTerminator) {
  KUV_IMPORT_HOOK(write, WriteFile);
  logger->LogWrite(LogLevel::Info, L"abc\r\n");
  logger->LogWrite(LogLevel::Info, "wxyz");
  ASSERT_EQ(write.CallCount(), 2u);
  const DWORD counts[] = {5, 4};
  for (std::size_t i = 0; i < 2; ++i) {
    const auto& [file, bytes, count, written, overlapped] = write.Calls()[i];
    EXPECT_EQ(file, logger->file);
    EXPECT_EQ(count, counts[i]);
    EXPECT_NE(written, nullptr);
    EXPECT_EQ(overlapped, nullptr);
  }
  EXPECT_EQ(std::get<1>(write.Calls()[0]), static_cast<const void*>(logger->scratch));
}

TEST_F(OpenedFileLogger, WritesNothingForEmptyOrNullTextOrWideTextOutsideAscii) {
  KUV_IMPORT_HOOK(write, WriteFile);
  for (const wchar_t* const text :
       {L"caf\xE9\r\n", L"\xE9", L"start \x20AC end\r\n", L"\xD83D\xDE00", L"x\x80", L"", kNoWideText}) {
    logger->LogWrite(LogLevel::Info, text);
  }
  logger->LogWrite(LogLevel::Info, "");
  logger->LogWrite(LogLevel::Info, kNoNarrowText);
  EXPECT_EQ(write.CallCount(), 0u);
}

TEST_F(FileLoggerTest, DropsALineOutsideAsciiThatTheDebuggerStreamShowsAndWritesTheNext) {
  DebuggerStream stream;
  Kuv::LogSystem system;
  system.AddHandler(std::make_shared<DebugLogger>());
  system.AddHandler(OpenFileLogger(path, 0, 0));
  system.Write(LogLevel::Info, "file.cpp", 1, L"caf\xE9");
  ASSERT_EQ(stream.wide.size(), 1u);
  EXPECT_TRUE(stream.wide[0].ends_with(L"[Info] caf\xE9\r\n"));
  EXPECT_EQ(Content(), "");
  system.WriteRaw(LogLevel::Info, L"one\r\n");
  system.WriteRaw(LogLevel::Info, L"two caf\xE9\r\n");
  system.WriteRaw(LogLevel::Info, L"3\r\n");
  EXPECT_EQ(Content(), "one\r\n3\r\n");
}

TEST_F(FileLoggerTest, WritesNarrowTextOfAnyLengthUnchanged) {
  for (const std::string& text :
       {std::string{"caf\xC3\xA9 \xE2\x82\xAC \xFF no line end"}, std::string(100000, 'x')}) {
    WriteFileBytes(path, "");
    OpenFileLogger(path, 0, 0)->LogWrite(LogLevel::Info, text.c_str());
    EXPECT_EQ(Content(), text);
  }
}

TEST_F(FileLoggerTest, TruncatesWideTextTo4095Bytes) {
  for (const std::size_t length : {4094u, 4095u, 4096u, 4097u, 9000u}) {
    SCOPED_TRACE(length);
    WriteFileBytes(path, "");
    const auto logger = OpenFileLogger(path, 0, 0);
    const std::string text = std::string(length - 1, 'x') + 'e';
    logger->LogWrite(LogLevel::Info, std::wstring{text.begin(), text.end()}.c_str());
    EXPECT_EQ(Content(), text.substr(0, 4095));
  }
}

TEST_F(OpenedFileLogger, DropsALineThatCannotBeWrittenAndWritesTheNext) {
  {
    KUV_IMPORT_HOOK(write, WriteFile);
    write.Answer([](HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*) {
      ::SetLastError(ERROR_DISK_FULL);
      return FALSE;
    });
    logger->LogWrite(LogLevel::Info, L"lost\r\n");
    logger->LogWrite(LogLevel::Info, "lost\r\n");
    EXPECT_EQ(write.CallCount(), 2u);
  }
  logger->LogWrite(LogLevel::Info, L"kept\r\n");
  EXPECT_EQ(Content(), "kept\r\n");
}

TEST_F(OpenedFileLogger, FlushFlushesTheFileAndIgnoresFailure) {
  KUV_IMPORT_HOOK(flush, FlushFileBuffers);
  flush.Answer([](HANDLE) { return FALSE; });
  logger->Flush();
  ASSERT_EQ(flush.CallCount(), 1u);
  EXPECT_EQ(std::get<0>(flush.Calls()[0]), logger->file);
}

TEST_F(OpenedFileLogger, FlushesThenClosesOnceWhenDestroyed) {
  const HANDLE file = logger->file;
  std::vector<std::string> events;
  KUV_IMPORT_HOOK(flush, FlushFileBuffers);
  KUV_IMPORT_HOOK(close, CloseHandle);
  flush.Answer([&](HANDLE handle) {
    if (handle == file) events.push_back("flush");
    return flush.Original(handle);
  });
  close.Answer([&](HANDLE handle) {
    if (handle == file) events.push_back("close");
    return close.Original(handle);
  });
  logger.reset();
  EXPECT_EQ(events, (std::vector<std::string>{"flush", "close"}));
}

TEST(FileLogger, CallsNothingWithoutAFile) {
  KUV_IMPORT_HOOK(write, WriteFile);
  KUV_IMPORT_HOOK(flush, FlushFileBuffers);
  KUV_IMPORT_HOOK(close, CloseHandle);
  {
    FileLogger logger{INVALID_HANDLE_VALUE};
    logger.LogWrite(LogLevel::Info, L"text");
    logger.LogWrite(LogLevel::Info, "text");
    logger.Flush();
  }
  EXPECT_EQ(write.CallCount() + flush.CallCount() + close.CallCount(), 0u);
}

TEST_F(FileLoggerTest, AppendsToAnExistingFile) {
  WriteFileBytes(path, "earlier\r\n");
  OpenFileLogger(path, 0, 0)->LogWrite(LogLevel::Info, L"later\r\n");
  EXPECT_EQ(Content(), "earlier\r\nlater\r\n");
}

TEST_F(OpenedFileLogger, AppendsAfterAnotherHandleWroteToTheFile) {
  const auto second = OpenFileLogger(path, 0, 0);
  ASSERT_NE(second, nullptr);
  logger->LogWrite(LogLevel::Info, L"1 long line\r\n");
  second->LogWrite(LogLevel::Info, L"2\r\n");
  logger->LogWrite(LogLevel::Info, L"3\r\n");
  second->LogWrite(LogLevel::Info, "4\r\n");
  EXPECT_EQ(Content(), "1 long line\r\n2\r\n3\r\n4\r\n");
}

TEST_F(OpenedFileLogger, KeepsTheOtherHandleOpenWhenDestroyed) {
  const auto other = OpenFileLogger(path, 0, 0);
  logger->LogWrite(LogLevel::Info, L"1\r\n");
  logger->Flush();
  logger.reset();
  other->LogWrite(LogLevel::Info, L"2\r\n");
  EXPECT_EQ(Content(), "1\r\n2\r\n");
}

TEST_F(OpenedFileLogger, ContinuesToWriteAFileThatWasMoved) {
  const std::wstring moved = folder.Path(L"moved.log");
  ASSERT_NE(::MoveFileExW(path.c_str(), moved.c_str(), 0), FALSE);
  logger->LogWrite(LogLevel::Info, L"text\r\n");
  EXPECT_EQ(ReadFileBytes(moved), "text\r\n");
  EXPECT_EQ(folder.Names(), (std::vector<std::wstring>{L"moved.log"}));
}

TEST_F(FileLoggerTest, IsClosedWithItsLogSystem) {
  KUV_IMPORT_HOOK(close, CloseHandle);
  {
    Kuv::LogSystem system;
    system.AddHandler(OpenFileLogger(path, 0, 0));
    EXPECT_EQ(close.CallCount(), 0u);
  }
  EXPECT_EQ(close.CallCount(), 1u);
}

TEST_F(FileLoggerTest, RotatesBeforeItOpensIfBothLimitsAreAboveZero) {
  WriteFileBytes(path, std::string(1024, 'x'));
  const auto logger = OpenFileLogger(path, 1, 1);
  logger->LogWrite(LogLevel::Info, L"new\r\n");
  EXPECT_EQ(Content(), "new\r\n");
  EXPECT_EQ(ReadFileBytes(folder.Path(L"kuv01.log")), std::string(1024, 'x'));
}

TEST_F(FileLoggerTest, NeverRotatesIfALimitIsZero) {
  WriteFileBytes(path, std::string(5000, 'x'));
  KUV_IMPORT_HOOK(attributes, GetFileAttributesExW);
  EXPECT_NE(OpenFileLogger(path, 0, 1), nullptr);
  EXPECT_NE(OpenFileLogger(path, 1, 0), nullptr);
  EXPECT_NE(OpenFileLogger(path, 0, 0), nullptr);
  EXPECT_EQ(attributes.CallCount(), 0u);
  EXPECT_EQ(folder.Names(), (std::vector<std::wstring>{L"kuv.log"}));
  EXPECT_EQ(Content().size(), 5000u);
}

}  // namespace
