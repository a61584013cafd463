#include <gtest/gtest.h>

#include "RecordFixture.h"
#include "Support/ImportHook.h"

namespace {

using KuvTest::Info;
using KuvTest::kLocalPath;
using KuvTest::LogLines;

using Calls = std::vector<std::string>;

constexpr LogLevel kBefore = LogLevel::Warning;
const KuvTest::LogLine kDebugLine = Info("Debug logging level enabled");
const KuvTest::LogLine kTraceLine = Info("Trace logging level enabled");

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

TEST_F(LogLevelSetting, OneIsDebug) {
  fake.SetDword(kLocalPath, "Debug", 1);
  EXPECT_EQ(Apply(), ERROR_SUCCESS);
  EXPECT_EQ(log.System().minLevel, LogLevel::Debug);
  EXPECT_EQ(log.Lines(), LogLines{kDebugLine});
}

TEST_F(LogLevelSetting, MoreIsTrace) {
  for (const std::uint32_t number : {2u, 3u, 0x80000000u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(number);
    Restart();
    fake.SetDword(kLocalPath, "Debug", number);
    EXPECT_EQ(Apply(), ERROR_SUCCESS);
    EXPECT_EQ(log.System().minLevel, LogLevel::Trace);
    EXPECT_EQ(log.Lines(), LogLines{kTraceLine});
  }
}

TEST_F(LogLevelSetting, ZeroLeavesTheLevel) {
  fake.SetDword(kLocalPath, "Debug", 0);
  EXPECT_EQ(Apply(), ERROR_SUCCESS);
  ExpectNothingChanged();
}

TEST_F(LogLevelSetting, OneRaisesALevelThatIsTrace) {
  log.System().minLevel = LogLevel::Trace;
  fake.SetDword(kLocalPath, "Debug", 1);
  EXPECT_EQ(Apply(), ERROR_SUCCESS);
  EXPECT_EQ(log.System().minLevel, LogLevel::Debug);
  EXPECT_EQ(log.Lines(), LogLines{kDebugLine});
}

TEST_F(LogLevelSetting, IsLoggedAgainIfNothingChanges) {
  fake.SetDword(kLocalPath, "Debug", 1);
  Apply();
  Apply();
  EXPECT_EQ(log.Lines(), (LogLines{kDebugLine, kDebugLine}));
}

TEST_F(LogLevelSetting, MissingValueLeavesTheLevel) {
  fake.CreateKey(kLocalPath);
  EXPECT_EQ(Apply(), ERROR_SUCCESS);
  ExpectNothingChanged();
}

TEST_F(LogLevelSetting, AnotherTypeLeavesTheLevel) {
  constexpr BYTE data[4] = {1};
  for (const DWORD type : {REG_NONE, REG_SZ, REG_BINARY, REG_DWORD_BIG_ENDIAN, REG_QWORD}) {
    SCOPED_TRACE(type);
    fake.Set(kLocalPath, "Debug", type, data, sizeof(data));
    EXPECT_EQ(Apply(), ERROR_SUCCESS);
    ExpectNothingChanged();
  }
}

TEST_F(LogLevelSetting, AnotherSizeLeavesTheLevel) {
  constexpr BYTE data[8] = {1};
  for (const std::size_t size : {0u, 1u, 2u, 3u, 5u, 8u}) {
    SCOPED_TRACE(size);
    fake.Set(kLocalPath, "Debug", REG_DWORD, data, size);
    EXPECT_EQ(Apply(), ERROR_SUCCESS);
    ExpectNothingChanged();
  }
}

TEST_F(LogLevelSetting, QueryThatFailsLeavesTheLevel) {
  fake.SetDword(kLocalPath, "Debug", 1);
  fake.FailQuery("Debug", ERROR_ACCESS_DENIED);
  EXPECT_EQ(Apply(), ERROR_SUCCESS);
  ExpectNothingChanged();
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

TEST_F(LogLevelSetting, AsksForTheValueAndClosesTheKeyOnceOnEveryPath) {
  const auto expectCalls = [&](const char* path) {
    SCOPED_TRACE(path);
    Restart();
    EXPECT_EQ(Apply(), ERROR_SUCCESS);
    EXPECT_EQ(fake.Calls(), allCalls);
  };
  fake.CreateKey(kLocalPath);
  expectCalls("no value");
  fake.SetText(kLocalPath, "Debug", "1");
  expectCalls("another type");
  fake.SetDword(kLocalPath, "Debug", 0);
  expectCalls("zero");
  fake.SetDword(kLocalPath, "Debug", 1);
  expectCalls("one");
  fake.FailQuery("Debug", ERROR_ACCESS_DENIED);
  expectCalls("denied");
}

TEST_F(LogLevelSetting, GivesTheStatusOfAnOpenThatFails) {
  fake.SetDword(kLocalPath, "Debug", 1);
  fake.FailOpen(1, ERROR_ACCESS_DENIED);
  EXPECT_EQ(Apply(), ERROR_ACCESS_DENIED);
  ExpectNothingChanged();
  EXPECT_EQ(fake.Calls(), Calls{allCalls[0]});
}

TEST_F(LogLevelSetting, GivesTheStatusOfAMissingKey) {
  EXPECT_EQ(Apply(), ERROR_FILE_NOT_FOUND);
  ExpectNothingChanged();
}

TEST_F(LogLevelSetting, GivesTheStatusOfTheClose) {
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

TEST_F(LogLevelSetting, LastKeyWithANumberDecides) {
  for (const Pair& pair : kPairs) {
    SCOPED_TRACE(::testing::Message() << "local " << pair.local << ", policy " << pair.policy);
    Restart();
    SetDebug(registry.Local(), pair.local);
    SetDebug(registry.Policy(), pair.policy);
    ApplyConfiguredLogLevel();
    EXPECT_EQ(log.System().minLevel, pair.level);
    EXPECT_EQ(log.Lines(), pair.lines);
  }
}

TEST_F(LogLevelSetting, LoadOfTheConfigurationSetsItInTheSameManner) {
  Registry platform;
  for (const Pair& pair : kPairs) {
    SCOPED_TRACE(::testing::Message() << "local " << pair.local << ", policy " << pair.policy);
    Restart();
    SetDebug(registry.Local(), pair.local);
    SetDebug(registry.Policy(), pair.policy);
    EXPECT_FALSE(record.Load(platform));
    EXPECT_EQ(log.System().minLevel, pair.level);
    LogLines expected = pair.lines;
    expected.push_back(KuvTest::kNotConfigured);
    EXPECT_EQ(log.Lines(), expected);
  }
}

TEST_F(LogLevelSetting, WithoutKeysChangesNothing) {
  ApplyConfiguredLogLevel();
  ExpectNothingChanged();
}

TEST_F(LogLevelSetting, AsksThePlatformForTheLocalKeyFirst) {
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

TEST_F(LogLevelSetting, PolicyKeyIsReadEvenIfTheLocalOneIsDenied) {
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
