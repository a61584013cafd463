#include "KuvAuth/Logging/LogRotation.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KuvAuth/Support/UniqueResource.h"
#include "Support/DebuggerStream.h"
#include "Support/ImportHook.h"
#include "Support/LogCapture.h"
#include "Support/RecordedFileCalls.h"
#include "Support/TempFolder.h"

namespace {

using KuvTest::DebuggerStream;
using KuvTest::ReadFileBytes;
using KuvTest::RecordedFileCalls;
using KuvTest::TempFolder;
using KuvTest::WriteFileBytes;

using Names = std::vector<std::wstring>;

// The live file has 2,048 bytes, so a limit of 2 KB rotates it.
class LogRotation : public ::testing::Test {
 protected:
  void Put(const wchar_t* name, std::string_view bytes) const { WriteFileBytes(folder.Path(name), bytes); }
  void PutLive(const wchar_t* name = L"kuv.log") const { Put(name, std::string(2048, 'x')); }
  std::string Get(const wchar_t* name) const { return ReadFileBytes(folder.Path(name)); }
  void Rotate(std::uint64_t maxCount, const wchar_t* name = L"kuv.log") const {
    RotateLogFile(folder.Path(name), 2, maxCount);
  }

  TempFolder folder;
  DebuggerStream stream;
};

// The files "kuv.log" and "kuvNN.log" by name with their content, which the live file has for "live".
using Files = std::map<std::wstring, std::string>;

struct RotationRow {
  const char* name;
  std::uint64_t maxCount;
  Files before;
  Files after;
  std::vector<std::pair<const wchar_t*, const wchar_t*>>
      steps;  // reported, with a null target for a deletion
};
const RotationRow kRotations[] = {
    {"each file moves up by one and the oldest is deleted",
     3,
     {{L"kuv.log", "live"}, {L"kuv01.log", "one"}, {L"kuv02.log", "two"}, {L"kuv03.log", "three"}},
     {{L"kuv01.log", "live"}, {L"kuv02.log", "one"}, {L"kuv03.log", "two"}},
     {{L"kuv03.log", nullptr}, {L"kuv02.log", L"kuv03.log"}, {L"kuv01.log", L"kuv02.log"}}},
    {"a count of two",
     2,
     {{L"kuv.log", "live"}, {L"kuv01.log", "one"}, {L"kuv02.log", "two"}},
     {{L"kuv01.log", "live"}, {L"kuv02.log", "one"}},
     {{L"kuv02.log", nullptr}, {L"kuv01.log", L"kuv02.log"}}},
    {"the move of the live file is not reported", 3, {{L"kuv.log", "live"}}, {{L"kuv01.log", "live"}}, {}},
    {"a count of one moves the live file only",
     1,
     {{L"kuv.log", "live"}, {L"kuv01.log", "one"}, {L"kuv02.log", "two"}},
     {{L"kuv01.log", "live"}, {L"kuv02.log", "two"}},
     {{L"kuv01.log", nullptr}}},
    {"nothing moves without a live file",
     2,
     {{L"kuv01.log", "one"}, {L"kuv02.log", "two"}},
     {{L"kuv01.log", "one"}, {L"kuv02.log", "two"}},
     {}},
    {"a gap moves up",
     5,
     {{L"kuv.log", "live"}, {L"kuv02.log", "two"}, {L"kuv04.log", "four"}},
     {{L"kuv01.log", "live"}, {L"kuv03.log", "two"}, {L"kuv05.log", "four"}},
     {{L"kuv04.log", L"kuv05.log"}, {L"kuv02.log", L"kuv03.log"}}},
    {"a file above the count stays",
     2,
     {{L"kuv.log", "live"}, {L"kuv01.log", "one"}, {L"kuv03.log", "three"}},
     {{L"kuv01.log", "live"}, {L"kuv02.log", "one"}, {L"kuv03.log", "three"}},
     {{L"kuv01.log", L"kuv02.log"}}},
};

TEST(RotateLogFile, MovesFilesAndReportsToTheDebuggerStreamButNotToTheLog) {
  const std::string live(2048, 'x');
  for (const RotationRow& row : kRotations) {
    SCOPED_TRACE(row.name);
    const TempFolder folder;
    const DebuggerStream stream;
    const KuvTest::LogCapture log;
    for (const auto& [name, content] : row.before)
      WriteFileBytes(folder.Path(name), content == "live" ? live : content);
    RotateLogFile(folder.Path(L"kuv.log"), 2, row.maxCount);
    Files after;
    for (const std::wstring& name : folder.Names()) {
      const std::string content = ReadFileBytes(folder.Path(name));
      after[name] = content == live ? "live" : content;
    }
    EXPECT_EQ(after, row.after);
    Names pieces;
    for (const auto& [from, to] : row.steps) {
      const Names step =
          to == nullptr ? Names{L"Deleting logfile ", folder.Path(from), L"\r\n"}
                        : Names{L"Rotating logfile ", folder.Path(from), L" -> ", folder.Path(to), L"\r\n"};
      pieces.insert(pieces.end(), step.begin(), step.end());
    }
    EXPECT_EQ(stream.wide, pieces);
    EXPECT_TRUE(stream.narrow.empty());
    EXPECT_TRUE(log.RawLines().empty());
    EXPECT_TRUE(log.NarrowTexts().empty());
  }
}

TEST_F(LogRotation, RotatesAFileAtOrAboveTheLimitOnly) {
  for (const std::size_t size : {0u, 1u, 2047u, 2048u, 2049u, 100000u}) {
    SCOPED_TRACE(size);
    Put(L"kuv.log", std::string(size, 'x'));
    Rotate(1);
    const wchar_t* const name = size < 2048 ? L"kuv.log" : L"kuv01.log";
    EXPECT_EQ(folder.Names(), (Names{name}));
    EXPECT_EQ(Get(name).size(), size);
  }
}

TEST_F(LogRotation, LosesNoFileIfTheOldestCannotBeDeleted) {
  const std::wstring oldest = folder.Path(L"kuv02.log");
  for (const bool isFolder : {true, false}) {
    SCOPED_TRACE(isFolder ? "a folder" : "a read-only file");
    PutLive();
    Put(L"kuv01.log", "one");
    if (isFolder) {
      ASSERT_NE(::CreateDirectoryW(oldest.c_str(), nullptr), FALSE);
    } else {
      ASSERT_NE(::RemoveDirectoryW(oldest.c_str()), FALSE);
      Put(L"kuv02.log", "two");
      ASSERT_NE(::SetFileAttributesW(oldest.c_str(), FILE_ATTRIBUTE_READONLY), FALSE);
    }
    Rotate(2);
    EXPECT_EQ(folder.Names(), (Names{L"kuv.log", L"kuv01.log", L"kuv02.log"}));
    EXPECT_EQ(Get(L"kuv.log").size(), 2048u);
    EXPECT_EQ(Get(L"kuv01.log"), "one");
    EXPECT_TRUE(stream.wide.empty());
  }
  EXPECT_EQ(Get(L"kuv02.log"), "two");
}

TEST_F(LogRotation, MovesAFolderAsAFile) {
  PutLive();
  ASSERT_NE(::CreateDirectoryW(folder.Path(L"kuv01.log").c_str(), nullptr), FALSE);
  Rotate(2);
  EXPECT_EQ(folder.Names(), (Names{L"kuv01.log", L"kuv02.log"}));
  EXPECT_EQ(Get(L"kuv01.log").size(), 2048u);
}

TEST_F(LogRotation, KeepsALiveFileThatCannotBeMoved) {
  PutLive();
  const Kuv::UniqueFile held{::CreateFileW(folder.Path(L"kuv.log").c_str(), GENERIC_READ, FILE_SHARE_READ,
                                           nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)};
  ASSERT_TRUE(held);
  Rotate(2);
  EXPECT_EQ(folder.Names(), (Names{L"kuv.log"}));
}

TEST_F(LogRotation, SplitsAtTheLastOfSeveralDots) {
  PutLive(L"app.1.log");
  Rotate(1, L"app.1.log");
  EXPECT_EQ(folder.Names(), (Names{L"app.101.log"}));
}

TEST_F(LogRotation, KeepsALiveFileWhoseNumberedPathHasNoFolder) {
  ASSERT_NE(::CreateDirectoryW(folder.Path(L"a.b").c_str(), nullptr), FALSE);
  PutLive(L"a.b\\log");
  Rotate(2, L"a.b\\log");
  EXPECT_EQ(folder.Names(), (Names{L"a.b"}));
  EXPECT_EQ(Get(L"a.b\\log").size(), 2048u);
}

TEST(RotateLogFile, CallsThePlatformInOrderWithWriteThroughMoves) {
  const struct {
    const char* name;
    const wchar_t* path;
    std::uint64_t maxCount;
    Names calls;
  } rows[] = {
      {"dot at the end", L"log.", 1, {L"delete log01.", L"log. -> log01. 8"}},
      {"dot at the start", L".log", 1, {L"delete 01.log", L".log -> 01.log 8"}},
      {"no dot", L"C:\\x\\log", 1, {L"delete C:\\x\\log01", L"C:\\x\\log -> C:\\x\\log01 8"}},
      {"dot of a folder",
       L"C:\\a.b\\log",
       1,
       {L"delete C:\\a01.b\\log", L"C:\\a.b\\log -> C:\\a01.b\\log 8"}},
      {"three files",
       L"C:\\kuv.log",
       3,
       {L"delete C:\\kuv03.log", L"C:\\kuv02.log -> C:\\kuv03.log 8", L"C:\\kuv01.log -> C:\\kuv02.log 8",
        L"C:\\kuv.log -> C:\\kuv01.log 8"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    RecordedFileCalls files;
    RotateLogFile(row.path, 2, row.maxCount);
    EXPECT_EQ(files.calls, row.calls);
  }
}

TEST_F(LogRotation, NumbersHaveTwoDigitsOrMore) {
  RecordedFileCalls files;
  RotateLogFile(L"kuv.log", 2, 100);
  ASSERT_EQ(files.calls.size(), 101u);
  EXPECT_EQ(files.calls[0], L"delete kuv100.log");
  EXPECT_EQ(files.calls[1], L"kuv99.log -> kuv100.log 8");
  EXPECT_EQ(files.calls[91], L"kuv09.log -> kuv10.log 8");
  EXPECT_EQ(files.calls[100], L"kuv.log -> kuv01.log 8");
}

TEST(RotateLogFile, UsesBothHalvesOfTheSizeAndTreatsAnUnreadableFileAsEmpty) {
  for (const auto& [size, found, calls] :
       std::initializer_list<std::tuple<std::uint64_t, BOOL, std::size_t>>{{0x1'0000'0000, TRUE, 2},
                                                                           {0xFFFF'FFFF, TRUE, 0},
                                                                           {0x1'0000'0001, TRUE, 2},
                                                                           {1ull << 32, FALSE, 0}}) {
    SCOPED_TRACE(size);
    RecordedFileCalls files;
    files.size = size;
    files.found = found;
    RotateLogFile(L"kuv.log", 4194304, 1);
    EXPECT_EQ(files.calls.size(), calls);
  }
}

// Only an answer above 0 is a success.
TEST_F(LogRotation, ReportsNothingForAnAnswerBelowZero) {
  KUV_IMPORT_HOOK(remove, DeleteFileW);
  KUV_IMPORT_HOOK(move, MoveFileExW);
  PutLive();
  for (const auto& [answer, pieces] : std::initializer_list<std::pair<BOOL, std::size_t>>{
           {-1, 0}, {-2147483647 - 1, 0}, {0, 0}, {1, 8}, {2147483647, 8}}) {
    SCOPED_TRACE(answer);
    remove.Answer([result = answer](const wchar_t*) { return result; });
    move.Answer([result = answer](const wchar_t*, const wchar_t*, DWORD) { return result; });
    stream.wide.clear();
    Rotate(2);
    EXPECT_EQ(stream.wide.size(), pieces);
  }
}

TEST_F(LogRotation, DoesNothingForAnEmptyPath) {
  KUV_IMPORT_HOOK(attributes, GetFileAttributesExW);
  RotateLogFile(L"", 1, 1);
  EXPECT_EQ(attributes.CallCount(), 0u);
}

}  // namespace
