#include "FilterCheck/Machine/FilterLog.h"

#include <filesystem>

#include <gmock/gmock.h>

#include "KuvAuth/Support/UniqueResource.h"
#include "Tools/FilterCheck/SettingsFixture.h"

namespace {

using FilterCheck::Evidence;
using FilterCheck::LoggedError;
using FilterCheck::Outcome;
using FilterCheck::ReadEvidence;
using FilterCheck::SignIn;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using Lines = std::vector<std::string>;

constexpr char kElevationSupported[] = "Usage scenario 4/CPUS_CREDUI supported";
constexpr char kDisabling[] = "Disabling Kuv Credential Provider";
constexpr char kPrefix[] = "11/22/26 09:30:00 [1240](2248) [Info] ";

// Returns the decisions as text, for example "console protected, elevation unprotected".
std::string DecisionsOf(const Evidence& evidence) {
  constexpr const char* kOutcomes[] = {"protected", "unprotected", "untouched"};
  std::string text;
  for (const SignIn kind : FilterCheck::kSignIns) {
    const auto& decision = evidence.decisions[IndexOf(kind)];
    if (!decision) continue;
    text += (text.empty() ? "" : ", ") + std::string{NameOf(kind)} + " " +
            kOutcomes[static_cast<std::size_t>(decision->outcome)];
  }
  return text;
}

class FilterLog : public KuvTest::SettingsFixture {
 protected:
  FilterLog() { std::filesystem::create_directory(appData.Path(L"Kuvant")); }

  void WriteLog(const std::string& bytes) const { KuvTest::WriteFileBytes(path, bytes); }

  Evidence ReadLog(const std::string& bytes) const {
    WriteLog(bytes);
    return ReadEvidence();
  }

  const std::wstring path = appData.Path(L"Kuvant\\kuv.log");
};

TEST_F(FilterLog, AttributesDecisionsByTheirMessages) {
  struct Row {
    const char* name;
    Lines lines;  // each with thread and level in front of the message
    const char* decisions;
    bool ran = true;
    bool failed = false;
  };
  const Row rows[] = {
      {"logon at the console",
       {"1 Info Local login session", "1 Info Usage scenario 1/CPUS_LOGON supported",
        "1 Info Enabling Kuv and whitelisted Credential Providers"},
       "console protected"},
      {"unlock at the console",
       {"1 Info Local login session", "1 Info Usage scenario 2/CPUS_UNLOCK_WORKSTATION supported"},
       "console protected"},
      {"change of password at the console",
       {"1 Info Local login session", "1 Info Usage scenario 3/CPUS_CHANGE_PASSWORD supported"},
       "console protected"},
      {"logon over Remote Desktop",
       {"1 Info Remote login session (RDP)", "1 Info Usage scenario 1/CPUS_LOGON supported"},
       "remote protected"},
      {"unlock over Remote Desktop",
       {"1 Info Remote login session (RDP)", "1 Info Usage scenario 2/CPUS_UNLOCK_WORKSTATION supported"},
       "remote protected"},
      {"change of password over Remote Desktop",
       {"1 Info Remote login session (RDP)", "1 Info Usage scenario 3/CPUS_CHANGE_PASSWORD supported"},
       "remote protected"},
      {"RdpOnly at the console",
       {"1 Info Local login session", "1 Info Kuv is configured for RDP only login",
        "1 Info Disabling Kuv Credential Provider"},
       "console unprotected"},
      {"RdpOnly over Remote Desktop",
       {"1 Info Remote login session (RDP)", "1 Info Kuv is configured for RDP only login",
        "1 Info Usage scenario 1/CPUS_LOGON supported"},
       "remote protected"},
      {"no logon protected, console",
       {"1 Info Kuv is configured to not protect logon {logonType: Local}."},
       "console untouched"},
      {"no logon protected, Remote Desktop",
       {"1 Info Kuv is configured to not protect logon {logonType: RDP}."},
       "remote untouched"},
      {"elevation", {"1 Info Usage scenario 4/CPUS_CREDUI supported"}, "elevation protected"},
      {"elevation not protected",
       {"1 Debug Filter usage scenario 4/CPUS_CREDUI, flags=0x00000100",
        "1 Info Disabling Kuv Credential Provider"},
       "elevation unprotected"},
      {"elevation not protected, with other flags",
       {"1 Debug Filter usage scenario 4/CPUS_CREDUI, flags=0xFFFFFFFF",
        "1 Info Disabling Kuv Credential Provider"},
       "elevation unprotected"},
      {"credential prompt",
       {"1 Debug Filter usage scenario 4/CPUS_CREDUI, flags=0x00000201",
        "1 Info Disabling Kuv Credential Provider"},
       ""},
      {"flags that are not a number",
       {"1 Debug Filter usage scenario 4/CPUS_CREDUI, flags=0x00000100 ",
        "1 Info Disabling Kuv Credential Provider"},
       ""},
      {"pre-logon access",
       {"1 Debug Filter usage scenario 5/CPUS_PLAP, flags=0x00000100",
        "1 Debug Usage scenario 5/CPUS_PLAP not supported", "1 Info Disabling Kuv Credential Provider"},
       ""},
      {"unknown kind", {"1 Info Disabling Kuv Credential Provider"}, ""},
      {"start is missing", {"1 Info Usage scenario 1/CPUS_LOGON supported"}, "", false},
      {"no Kuv provider", {"1 Error Kuv Credential Provider not found. Filter permitting all."}, ""},
      {"exception",
       {"1 Info Usage scenario 4/CPUS_CREDUI supported", "1 Error Filter encountered an exception. 'text",
        "1 Info Disabling Kuv Credential Provider"},
       "elevation protected",
       true,
       true},
      {"exception in a logon",
       {"1 Info Local login session", "1 Error Filter encountered an exception. '",
        "1 Info Disabling Kuv Credential Provider"},
       "",
       true,
       true},
      {"exception before a good decision",
       {"1 Error Filter encountered an exception. 'text", "1 Info Disabling Kuv Credential Provider",
        "1 Info Disabling Kuv Credential Provider"},
       ""},
      {"other line of the thread between",
       {"1 Info Local login session", "1 Info Host: auth.kuv.example",
        "1 Info Disabling Kuv Credential Provider"},
       ""},
      {"decision that is over",
       {"1 Info Local login session", "1 Info Usage scenario 1/CPUS_LOGON supported",
        "1 Info Disabling Kuv Credential Provider"},
       "console protected"},
      {"two threads",
       {"1 Info Local login session", "2 Info Remote login session (RDP)",
        "1 Info Kuv is configured for RDP only login", "2 Info Usage scenario 1/CPUS_LOGON supported",
        "1 Info Disabling Kuv Credential Provider"},
       "console unprotected, remote protected"},
      {"the last decision counts",
       {"1 Info Kuv is configured to not protect logon {logonType: Local}.", "2 Info Local login session",
        "2 Info Usage scenario 1/CPUS_LOGON supported"},
       "console protected"},
      {"longer message",
       {"1 Info Usage scenario 4/CPUS_CREDUI supported.", "1 Info  Disabling Kuv Credential Provider",
        "1 Info Kuv is configured to not protect logon {logonType: invalid}."},
       "",
       false},
      {"other messages", {"1 Info Host: a", "1 Trace Entering CKuvCredFilter::Filter"}, "", false},
      {"empty", {}, "", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::string log;
    for (const std::string& line : row.lines) {
      const std::size_t level = line.find(' ') + 1;
      const std::size_t message = line.find(' ', level) + 1;
      log += "11/22/26 09:30:00 [1240](" + line.substr(0, level - 1) + ") [" +
             line.substr(level, message - level - 1) + "] " + line.substr(message) + "\r\n";
    }
    const Evidence evidence = ReadLog(log);
    EXPECT_TRUE(evidence.exists);
    EXPECT_EQ(evidence.unreadable, "");
    EXPECT_EQ(DecisionsOf(evidence), row.decisions);
    EXPECT_EQ(evidence.lastRun, row.ran ? "2026-11-22 09:30:00" : "");
    EXPECT_EQ(evidence.ranSinceStart.has_value(), row.ran);
    EXPECT_EQ(evidence.lastRunFailed, row.failed);
  }
}

TEST_F(FilterLog, ReportsWhetherTheLastDecisionFoundNoKuvProvider) {
  const std::string missing =
      "11/22/26 09:30:00 [1](2) [Error] Kuv Credential Provider not found. Filter permitting all.\r\n";
  EXPECT_TRUE(ReadLog(missing).lastRunFoundNoKuvProvider);
  EXPECT_FALSE(ReadLog(missing + "11/22/26 09:30:01 [1](2) [Info] Disabling Kuv Credential Provider\r\n")
                   .lastRunFoundNoKuvProvider);
}

TEST_F(FilterLog, KeepsThreadsOfProcessesApart) {
  EXPECT_EQ(DecisionsOf(ReadLog("11/22/26 09:30:00 [1](7) [Info] Local login session\r\n"
                                "11/22/26 09:30:00 [2](7) [Info] Disabling Kuv Credential Provider\r\n"
                                "11/22/26 09:30:00 [7](1) [Info] Disabling Kuv Credential Provider\r\n")),
            "");
}

TEST_F(FilterLog, ReportsTimesOfDecisions) {
  const Evidence evidence = ReadLog(
      "01/02/26 03:04:05 [1](1) [Info] Usage scenario 4/CPUS_CREDUI supported\r\n"
      "12/31/99 23:59:59 [1](1) [Info] Disabling Kuv Credential Provider\r\n");
  EXPECT_EQ(evidence.decisions[2]->time, "2026-01-02 03:04:05");
  EXPECT_EQ(evidence.lastRun, "2099-12-31 23:59:59");
}

// Each line would show a decision if it were accepted.
TEST_F(FilterLog, SkipsLinesInAnotherForm) {
  const std::string message = kElevationSupported;
  struct Row {
    const char* name;
    std::string bytes;
    bool accepted = false;
  };
  const Row rows[] = {
      {"as written", kPrefix + message + "\r\n", true},
      {"largest numbers", "02/29/28 23:59:59 [4294967295](4294967295) [Info] " + message + "\r\n", true},
      {"year 2126", "11/22/126 09:30:00 [1](1) [Info] " + message + "\r\n", true},
      {"no line end", kPrefix + message},
      {"line feed only", kPrefix + message + "\n"},
      {"carriage return only", kPrefix + message + "\r"},
      {"line feed inside", "x\n" + (kPrefix + message) + "\r\n"},
      {"no prefix", message + "\r\n"},
      {"text before", " " + (kPrefix + message) + "\r\n"},
      {"byte order mark", "\xEF\xBB\xBF" + (kPrefix + message) + "\r\n"},
      {"torn start", (kPrefix + message).substr(1) + "\r\n"},
      {"month 13", "13/22/26 09:30:00 [1](1) [Info] " + message + "\r\n"},
      {"month 65537", "65537/22/26 09:30:00 [1](1) [Info] " + message + "\r\n"},
      {"day 0", "11/00/26 09:30:00 [1](1) [Info] " + message + "\r\n"},
      {"hour 24", "11/22/26 24:00:00 [1](1) [Info] " + message + "\r\n"},
      {"minute 60", "11/22/26 09:60:00 [1](1) [Info] " + message + "\r\n"},
      {"one digit", "11/22/26 9:30:00 [1](1) [Info] " + message + "\r\n"},
      {"three digits", "11/22/026 09:30:00 [1](1) [Info] " + message + "\r\n"},
      {"year of four digits", "11/22/2026 09:30:00 [1](1) [Info] " + message + "\r\n"},
      {"sign", "11/22/26 09:30:00 [+1](1) [Info] " + message + "\r\n"},
      {"negative number", "11/22/26 09:30:00 [-1](1) [Info] " + message + "\r\n"},
      {"space in a number", "11/22/26 09:30:00 [ 1](1) [Info] " + message + "\r\n"},
      {"number too large", "11/22/26 09:30:00 [4294967296](1) [Info] " + message + "\r\n"},
      {"leading zero", "11/22/26 09:30:00 [01](1) [Info] " + message + "\r\n"},
      {"no process", "11/22/26 09:30:00 [](1) [Info] " + message + "\r\n"},
      {"other brackets", "11/22/26 09:30:00 (1)[1] [Info] " + message + "\r\n"},
      {"two spaces", "11/22/26  09:30:00 [1](1) [Info] " + message + "\r\n"},
      {"no level", "11/22/26 09:30:00 [1](1) " + message + "\r\n"},
      {"empty level", "11/22/26 09:30:00 [1](1) [] " + message + "\r\n"},
      {"unknown level", "11/22/26 09:30:00 [1](1) [info] " + message + "\r\n"},
      {"space at the end", kPrefix + message + " \r\n"},
      {"not ASCII", kPrefix + message + "\xC3\xA4\r\n"},
      {"NUL at the end", kPrefix + message + std::string(1, '\0') + "\r\n"},
      {"NUL for a digit", std::string{"11/22/2\0", 8} + " 09:30:00 [1](1) [Info] " + message + "\r\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(DecisionsOf(ReadLog(row.bytes)), row.accepted ? "elevation protected" : "");
    // The lines after it count.
    EXPECT_EQ(DecisionsOf(ReadLog(row.bytes + "\r\n" + kPrefix + message + "\r\n")), "elevation protected");
  }
}

TEST_F(FilterLog, SurvivesAnyBytes) {
  std::string bytes;
  std::uint32_t state = 1;
  for (int i = 0; i < 200'000; ++i) {
    state = state * 1664525 + 1013904223;
    bytes += "/:[]() 0123456789\r\nInfo\0\xFF"[(state >> 24) % 25];
  }
  EXPECT_NO_THROW(ReadLog(bytes));
  EXPECT_EQ(DecisionsOf(ReadLog(bytes + "\r\n" + kPrefix + kElevationSupported + "\r\n")),
            "elevation protected");
}

TEST_F(FilterLog, KeepsTheLastThreeErrors) {
  const auto line = [](const std::string& second, const std::string& rest) {
    return "11/22/26 09:30:" + second + " [1](1) " + rest + "\r\n";
  };
  const std::string longest(2045 - std::string{"11/22/26 09:30:05 [1](1) [Error] "}.size(), 'x');
  const Evidence evidence =
      ReadLog(line("01", "[Error] first") + line("02", "[Critical] second") + line("03", "[Warning] no") +
              line("04", "[Error] third <b>") + line("05", "[Error] " + longest) +
              line("06", "[Error] " + longest + "x") + line("07", "[Error] \x1B[31m"));
  ASSERT_EQ(evidence.errors.size(), 3u);
  EXPECT_EQ(evidence.errors[0].time, "2026-11-22 09:30:02");
  EXPECT_EQ(evidence.errors[0].text, "second");
  EXPECT_EQ(evidence.errors[1].text, "third <b>");
  EXPECT_EQ(evidence.errors[2].time, "2026-11-22 09:30:05");
  EXPECT_EQ(evidence.errors[2].text, std::string(300, 'x') + "...");
  EXPECT_EQ(evidence.lastRun, "");
}

TEST_F(FilterLog, ReportsMissingLog) {
  const Evidence evidence = ReadEvidence();
  EXPECT_FALSE(evidence.exists);
  EXPECT_EQ(evidence.unreadable, "");
  EXPECT_THAT(evidence.log, ::testing::EndsWith("\\Kuvant\\kuv.log"));
  std::filesystem::remove(appData.Path(L"Kuvant"));
  EXPECT_FALSE(ReadEvidence().exists);
}

TEST_F(FilterLog, ReportsUnreadableLog) {
  WriteLog(std::string{kPrefix} + kElevationSupported + "\r\n");
  {
    KUV_IMPORT_HOOK(open, CreateFileW);
    open.Answer([](auto...) {
      ::SetLastError(ERROR_ACCESS_DENIED);
      return INVALID_HANDLE_VALUE;
    });
    EXPECT_THAT(ReadEvidence().unreadable, ::testing::EndsWith("(error 5)"));
    EXPECT_TRUE(ReadEvidence().exists);
  }
  KUV_IMPORT_HOOK(read, ReadFile);
  read.Answer([](auto...) {
    ::SetLastError(ERROR_READ_FAULT);
    return FALSE;
  });
  const Evidence evidence = ReadEvidence();
  EXPECT_THAT(evidence.unreadable, ::testing::EndsWith("(error 30)"));
  EXPECT_TRUE(evidence.exists);
  EXPECT_EQ(DecisionsOf(evidence), "");
}

TEST_F(FilterLog, ReportsFolderInPlaceOfTheLog) {
  std::filesystem::create_directory(path);
  EXPECT_TRUE(ReadEvidence().exists);
  EXPECT_NE(ReadEvidence().unreadable, "");
}

TEST_F(FilterLog, ReadsLogThatIsOpenForWriting) {
  WriteLog(std::string{kPrefix} + kElevationSupported + "\r\n");
  const Kuv::UniqueFile writer{::CreateFileW(path.c_str(), FILE_APPEND_DATA,
                                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                             OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)};
  ASSERT_TRUE(writer);
  EXPECT_EQ(DecisionsOf(ReadEvidence()), "elevation protected");
}

// 5 GB, of which the file system stores only the end.
TEST_F(FilterLog, ReadsOnlyTheEndOfAHugeLog) {
  const std::string start = std::string{kPrefix} + kElevationSupported + "\r\n";
  WriteLog(start);
  const std::string end = "09:30:00 [9](9) [Info] torn\r\n" + std::string{kPrefix} +
                          "Local login session\r\n" + kPrefix + kDisabling + "\r\n";
  {
    const Kuv::UniqueFile file{::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                             FILE_ATTRIBUTE_NORMAL, nullptr)};
    DWORD written = 0;
    LARGE_INTEGER position{};
    position.QuadPart = 5LL << 30;
    ASSERT_TRUE(::SetFilePointerEx(file.Get(), position, nullptr, FILE_BEGIN));
    ASSERT_TRUE(::WriteFile(file.Get(), end.data(), static_cast<DWORD>(end.size()), &written, nullptr));
  }
  KUV_IMPORT_HOOK(read, ReadFile);
  std::size_t bytes = 0;
  read.Answer([&](HANDLE file, LPVOID data, DWORD size, LPDWORD count, LPOVERLAPPED overlapped) {
    const BOOL result = read.Original(file, data, size, count, overlapped);
    bytes += *count;
    return result;
  });
  EXPECT_EQ(DecisionsOf(ReadEvidence()), "console unprotected");
  EXPECT_EQ(bytes, 1024u * 1024u);
}

// The part that is read starts in the middle of a line, whose rest has the form of a line.
TEST_F(FilterLog, SkipsTheTornFirstLine) {
  const std::string whole = std::string{kPrefix} + kElevationSupported + "\r\n";
  const std::string filler(1024 * 1024 - whole.size() - 2, 'x');
  EXPECT_EQ(DecisionsOf(ReadLog("Host: " + whole + filler + "\r\n")), "");
  EXPECT_EQ(DecisionsOf(ReadLog("\r\n" + whole + filler.substr(2) + "\r\n")), "elevation protected");
}

// The log grows while it is read.
TEST_F(FilterLog, StopsAtTheLimitOfAGrowingLog) {
  WriteLog("x");
  KUV_IMPORT_HOOK(read, ReadFile);
  std::size_t bytes = 0;
  read.Answer([&](HANDLE, LPVOID data, DWORD size, LPDWORD count, LPOVERLAPPED) {
    std::fill_n(static_cast<char*>(data), size, 'x');
    *count = bytes < 2 * 1024 * 1024 ? size : 0;
    bytes += *count;
    return TRUE;
  });
  ReadEvidence();
  EXPECT_EQ(bytes, 1024u * 1024u);
}

// 2026-11-22 10:00:00 in UTC; Windows started one hour ago, local time is two hours ahead.
TEST_F(FilterLog, ComparesWithTheStartOfWindowsInLocalTime) {
  KUV_IMPORT_HOOK(now, GetSystemTimeAsFileTime);
  KUV_IMPORT_HOOK(ticks, GetTickCount64);
  KUV_IMPORT_HOOK(local, SystemTimeToTzSpecificLocalTime);
  now.Answer([](LPFILETIME time) {
    const SYSTEMTIME universal{2026, 11, 0, 22, 10, 0, 0, 0};
    ::SystemTimeToFileTime(&universal, time);
  });
  ticks.Answer([] { return ULONGLONG{3'600'000}; });
  local.Answer([](const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* universal, LPSYSTEMTIME time) {
    EXPECT_EQ(zone, nullptr);
    *time = *universal;
    time->wHour = static_cast<WORD>(time->wHour + 2);
    return TRUE;
  });
  EXPECT_EQ(ReadEvidence().startOfWindows, "2026-11-22 11:00:00");
  EXPECT_EQ(ReadEvidence().ranSinceStart, std::nullopt);
  const std::pair<const char*, bool> rows[] = {{"11/22/26 11:00:01", true},  {"11/22/26 10:58:00", true},
                                               {"11/22/26 10:57:59", false}, {"11/21/26 23:00:00", false},
                                               {"12/01/25 23:00:00", false}, {"01/01/27 00:00:00", true}};
  for (const auto& [time, since] : rows) {
    const std::string line = " [1](1) [Info] Disabling Kuv Credential Provider\r\n";
    EXPECT_EQ(ReadLog(time + line).ranSinceStart, since) << time;
  }
}

TEST_F(FilterLog, ThrowsWithoutApplicationDataFolder) {
  folderPath.Answer([](HWND, int, HANDLE, DWORD, LPWSTR) { return E_FAIL; });
  EXPECT_THROW(ReadEvidence(), std::exception);
}

}  // namespace
