// Tests that need a second process.
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Logging/PlainLog.h"
#include "Support/ChildProcess.h"
#include "Support/TempFolder.h"

namespace {

using KuvTest::ChildArgument;
using KuvTest::ReadFileBytes;
using KuvTest::RunAgainInChild;
using KuvTest::TempFolder;
using KuvTest::WriteFileBytes;

// Both keep the file open while the other writes.
TEST(FileLoggerProcess, AppendsAfterTheTextOfAnotherProcess) {
  if (!ChildArgument().empty()) {
    const auto logger = Kuv::OpenFileLogger(ChildArgument(), 0, 0);
    ASSERT_NE(logger, nullptr);
    logger->LogWrite(LogLevel::Info, L"a longer line of the other process\r\n");
    logger->LogWrite(LogLevel::Info, "and its last\r\n");
    return;
  }
  const TempFolder folder;
  const std::wstring path = folder.Path(L"kuv.log");
  const auto logger = Kuv::OpenFileLogger(path, 0, 0);
  logger->LogWrite(LogLevel::Info, L"1\r\n");
  EXPECT_EQ(RunAgainInChild(path), 0u);
  logger->LogWrite(LogLevel::Info, L"2\r\n");
  EXPECT_EQ(ReadFileBytes(path), "1\r\na longer line of the other process\r\nand its last\r\n2\r\n");
}

// Writes to a file when it is destroyed.
class LastWordHandler final : public Kuv::ILogHandler {
 public:
  explicit LastWordHandler(std::wstring path) : path_(std::move(path)) {}
  ~LastWordHandler() { WriteFileBytes(path_, "destroyed"); }
  void LogWrite(LogLevel, const wchar_t*) override {}
  void LogWrite(LogLevel, const char*) override {}
  void Flush() override {}

 private:
  std::wstring path_;
};

void ExpectDestroyedAtExit(std::shared_ptr<Kuv::LogSystem>& log) {
  if (!ChildArgument().empty()) {
    log = std::make_shared<Kuv::LogSystem>();
    log->AddHandler(std::make_shared<LastWordHandler>(ChildArgument()));
    return;
  }
  const TempFolder folder;
  const std::wstring path = folder.Path(L"last word");
  EXPECT_EQ(RunAgainInChild(path), 0u);
  EXPECT_EQ(folder.Names(), (std::vector<std::wstring>{L"last word"}));
}

TEST(LogProcess, DestroysAPlainLogThatNobodyStoppedAtItsExit) {
  ExpectDestroyedAtExit(g_plainLog);
}

TEST(LogProcess, DestroysAMainLogThatNobodyStoppedAtItsExit) {
  ExpectDestroyedAtExit(g_logSystem);
}

}  // namespace
