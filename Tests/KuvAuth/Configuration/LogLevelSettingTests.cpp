#include <gtest/gtest.h>

#include "RecordFixture.h"
#include "Support/ImportHook.h"

namespace {

using KuvTest::Info;
using KuvTest::kLocalPath;
using KuvTest::LogLine;
using KuvTest::LogLines;

using Calls = std::vector<std::string>;

constexpr LogLevel kBefore = LogLevel::Warning;
const LogLine kDebugLine = Info("Debug logging level enabled");
const LogLine kTraceLine = Info("Trace logging level enabled");

class LogLevelSetting : public KuvTest::RecordFixture {
 protected:
  LogLevelSetting() { Restart(); }

  void Restart() {
    log.System().minLevel = kBefore;
    log.Clear();
    fake.ClearCalls();
  }

  LSTATUS Apply() { return ApplyLogLevelFromKey(fake, "Software\\Kuvant\\KuvCredProv"); }

  void ExpectNothingChanged() {
    EXPECT_EQ(log.System().minLevel, kBefore);
    EXPECT_EQ(log.Lines(), LogLines{});
  }

  const Calls allCalls{"OpenKeyA HKLM\\Software\\Kuvant\\KuvCredProv options 0 access 0x1",
                       "QueryValueW Debug type 4 size 4", "CloseKey Software\\Kuvant\\KuvCredProv"};
};

// The lock of the log is first entered for the line.
TEST_F(LogLevelSetting, IsWrittenWithoutTheLockOfTheLog) {
  fake.SetDword(kLocalPath, "Debug", 1);
  std::vector<LogLevel> levels;
  KUV_IMPORT_HOOK(enter, EnterCriticalSection);
  enter.Answer([&](CRITICAL_SECTION* section) {
    levels.push_back(log.System().minLevel);
    enter.Original(section);
  });
  Apply();
  EXPECT_EQ(levels, std::vector<LogLevel>{LogLevel::Debug});
}

struct ValueRow {
  const char* name;
  DWORD type;
  std::vector<BYTE> data;
  LogLevel expected;
};
const ValueRow kValues[] = {
    {"zero", REG_DWORD, {0, 0, 0, 0}, kBefore},
    {"one", REG_DWORD, {1, 0, 0, 0}, LogLevel::Debug},
    {"two", REG_DWORD, {2, 0, 0, 0}, LogLevel::Trace},
    {"three", REG_DWORD, {3, 0, 0, 0}, LogLevel::Trace},
    {"highest bit", REG_DWORD, {0, 0, 0, 0x80}, LogLevel::Trace},
    {"largest", REG_DWORD, {0xFF, 0xFF, 0xFF, 0xFF}, LogLevel::Trace},
    {"no type", REG_NONE, {1, 0, 0, 0}, kBefore},
    {"text", REG_SZ, {1, 0, 0, 0}, kBefore},
    {"binary", REG_BINARY, {1, 0, 0, 0}, kBefore},
    {"big endian", REG_DWORD_BIG_ENDIAN, {1, 0, 0, 0}, kBefore},
    {"QWORD type", REG_QWORD, {1, 0, 0, 0}, kBefore},
    {"no bytes", REG_DWORD, {}, kBefore},
    {"one byte", REG_DWORD, {1}, kBefore},
    {"two bytes", REG_DWORD, {1, 0}, kBefore},
    {"three bytes", REG_DWORD, {1, 0, 0}, kBefore},
    {"five bytes", REG_DWORD, {1, 0, 0, 0, 0}, kBefore},
    {"eight bytes", REG_DWORD, {1, 0, 0, 0, 0, 0, 0, 0}, kBefore},
};

TEST_F(LogLevelSetting, OnlyADwordAboveZeroSetsTheLevel) {
  for (const ValueRow& row : kValues) {
    SCOPED_TRACE(row.name);
    Restart();
    fake.Set(kLocalPath, "Debug", row.type, row.data.data(), row.data.size());
    EXPECT_EQ(Apply(), ERROR_SUCCESS);
    EXPECT_EQ(log.System().minLevel, row.expected);
    const LogLine line = row.expected == LogLevel::Debug ? kDebugLine : kTraceLine;
    EXPECT_EQ(log.Lines(), row.expected == kBefore ? LogLines{} : LogLines{line});
    EXPECT_EQ(fake.Calls(), allCalls);
  }
}

TEST_F(LogLevelSetting, MissingOrUnreadableValueKeepsTheLevel) {
  fake.CreateKey(kLocalPath);
  EXPECT_EQ(Apply(), ERROR_SUCCESS);
  ExpectNothingChanged();
  EXPECT_EQ(fake.Calls(), allCalls);
  Restart();
  fake.SetDword(kLocalPath, "Debug", 1);
  fake.FailQuery("Debug", ERROR_ACCESS_DENIED);
  EXPECT_EQ(Apply(), ERROR_SUCCESS);
  ExpectNothingChanged();
  EXPECT_EQ(fake.Calls(), allCalls);
}

TEST_F(LogLevelSetting, OneRaisesALevelThatIsTraceAndIsLoggedAgain) {
  log.System().minLevel = LogLevel::Trace;
  fake.SetDword(kLocalPath, "Debug", 1);
  EXPECT_EQ(Apply(), ERROR_SUCCESS);
  EXPECT_EQ(log.System().minLevel, LogLevel::Debug);
  EXPECT_EQ(log.Lines(), LogLines{kDebugLine});
  Apply();
  EXPECT_EQ(log.Lines(), (LogLines{kDebugLine, kDebugLine}));
}

TEST_F(LogLevelSetting, DoesNothingWithoutALog) {
  g_logSystem = nullptr;
  for (const std::uint32_t number : {0u, 1u, 2u}) {
    SCOPED_TRACE(number);
    fake.ClearCalls();
    fake.SetDword(kLocalPath, "Debug", number);
    EXPECT_EQ(Apply(), ERROR_SUCCESS);
    EXPECT_EQ(fake.Calls(), allCalls);
    ExpectNothingChanged();
  }
}

TEST_F(LogLevelSetting, ReturnsTheStatusOfAFailedOpen) {
  EXPECT_EQ(Apply(), ERROR_FILE_NOT_FOUND);
  ExpectNothingChanged();
  fake.SetDword(kLocalPath, "Debug", 1);
  fake.FailOpen(2, ERROR_ACCESS_DENIED);
  fake.ClearCalls();
  EXPECT_EQ(Apply(), ERROR_ACCESS_DENIED);
  ExpectNothingChanged();
  EXPECT_EQ(fake.Calls(), Calls{allCalls[0]});
}

TEST_F(LogLevelSetting, ReturnsTheStatusOfTheClose) {
  fake.AnswerClose(1234);
  fake.CreateKey(kLocalPath);
  EXPECT_EQ(Apply(), 1234);
  fake.SetDword(kLocalPath, "Debug", 1);
  EXPECT_EQ(Apply(), 1234);
  EXPECT_EQ(log.Lines(), LogLines{kDebugLine});
}

struct Pair {
  int local;  // -1 for none
  int policy;
  LogLevel level;
  LogLines lines;
};
const Pair kPairs[] = {
    {-1, -1, kBefore, {}},
    {0, 0, kBefore, {}},
    {1, -1, LogLevel::Debug, {kDebugLine}},
    {2, -1, LogLevel::Trace, {kTraceLine}},
    {-1, 1, LogLevel::Debug, {kDebugLine}},
    {-1, 2, LogLevel::Trace, {kTraceLine}},
    {1, 2, LogLevel::Trace, {kDebugLine, kTraceLine}},
    {2, 1, LogLevel::Debug, {kTraceLine, kDebugLine}},
    {2, 0, LogLevel::Trace, {kTraceLine}},
    {1, 0, LogLevel::Debug, {kDebugLine}},
    {0, 1, LogLevel::Debug, {kDebugLine}},
    {0, 2, LogLevel::Trace, {kTraceLine}},
    {1, 1, LogLevel::Debug, {kDebugLine, kDebugLine}},
};

void SetDebug(const KuvTest::TestKey& key, int number) {
  key.Create();
  key.SetDword(L"Debug", 0);
  key.DeleteValue(L"Debug");
  if (number >= 0) key.SetDword(L"Debug", static_cast<std::uint32_t>(number));
}

// By itself and as part of a load of the configuration.
TEST_F(LogLevelSetting, LastKeyWithANumberDecides) {
  Registry platform;
  for (const Pair& pair : kPairs) {
    for (const bool load : {false, true}) {
      SCOPED_TRACE(::testing::Message()
                   << "local " << pair.local << ", policy " << pair.policy << (load ? ", by a load" : ""));
      Restart();
      SetDebug(registry.Local(), pair.local);
      SetDebug(registry.Policy(), pair.policy);
      LogLines expected = pair.lines;
      if (load) {
        EXPECT_FALSE(record.Load(platform));
        expected.push_back(KuvTest::kNotConfigured);
      } else {
        ApplyConfiguredLogLevel();
      }
      EXPECT_EQ(log.System().minLevel, pair.level);
      EXPECT_EQ(log.Lines(), expected);
    }
  }
}

TEST_F(LogLevelSetting, ChangesNothingWithoutKeys) {
  ApplyConfiguredLogLevel();
  ExpectNothingChanged();
}

TEST_F(LogLevelSetting, ReadsTheLocalKeyBeforeThePolicyKey) {
  registry.Local().SetDword(L"Debug", 1);
  registry.Policy().SetDword(L"Debug", 2);
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  KUV_IMPORT_HOOK(query, RegQueryValueExW);
  KUV_IMPORT_HOOK(close, RegCloseKey);
  ApplyConfiguredLogLevel();
  ASSERT_EQ(open.CallCount(), 2u);
  EXPECT_STREQ(std::get<1>(open.Calls()[0]), "Software\\Kuvant\\KuvCredProv");
  EXPECT_STREQ(std::get<1>(open.Calls()[1]), "Software\\Policies\\Kuvant\\KuvCredProv");
  for (const auto& call : open.Calls()) {
    EXPECT_EQ(std::get<0>(call), HKEY_LOCAL_MACHINE);
    EXPECT_EQ(std::get<2>(call), 0u);
    EXPECT_EQ(std::get<3>(call), 0x0001u);
  }
  ASSERT_EQ(query.CallCount(), 2u);
  EXPECT_STREQ(std::get<1>(query.Calls()[0]), L"Debug");
  EXPECT_EQ(std::get<2>(query.Calls()[0]), nullptr);
  ASSERT_EQ(close.CallCount(), 2u);
  EXPECT_EQ(std::get<0>(close.Calls()[0]), std::get<0>(query.Calls()[0]));
  EXPECT_EQ(std::get<0>(close.Calls()[1]), std::get<0>(query.Calls()[1]));
}

TEST_F(LogLevelSetting, ReadsThePolicyKeyEvenIfTheLocalKeyIsDenied) {
  registry.Policy().SetDword(L"Debug", 2);
  KUV_IMPORT_HOOK(open, RegOpenKeyExA);
  open.AnswerCall(1, [](auto...) { return ERROR_ACCESS_DENIED; });
  ApplyConfiguredLogLevel();
  EXPECT_EQ(log.System().minLevel, LogLevel::Trace);
}

TEST_F(LogLevelSetting, ReadsNoOtherSetting) {
  registry.Local().SetText(L"Host", L"host");
  registry.Local().SetDword(L"Debug", 1);
  ApplyConfiguredLogLevel();
  EXPECT_EQ(log.Lines(), LogLines{kDebugLine});
  EXPECT_EQ(GetConfiguration()->Host, "");
}

}  // namespace
