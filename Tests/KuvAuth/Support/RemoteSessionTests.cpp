#include "KuvAuth/Support/RemoteSession.h"

#include <cstdint>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "Support/ImportHook.h"
#include "Support/LogCapture.h"
#include "Support/RegistrySandbox.h"

namespace {

using Kuv::Util::IsRemoteSession;

constexpr DWORD kOwnProcess = 4711;

// Each test writes the console session of the machine to the registry. The metric is off and this process
// runs in session 3, unless a test changes it.
class RemoteSession : public ::testing::Test {
 protected:
  RemoteSession() {
    metric.Answer([this](int) { return remoteMetric; });
    process.Answer([] { return kOwnProcess; });
    session.Answer([this](DWORD, DWORD* id) {
      *id = ownSession;
      return sessionKnown;
    });
  }
  ~RemoteSession() override { EXPECT_EQ(log.Lines(), KuvTest::LogLines{}); }

  void SetConsoleSession(DWORD type, const void* data, std::size_t size) {
    terminalServer.SetBytes(L"GlassSessionId", type, data, size);
  }
  void SetConsoleSession(std::uint32_t id) { SetConsoleSession(REG_DWORD, &id, sizeof(id)); }

  KuvTest::RegistrySandbox registry;
  KuvTest::LogCapture log;
  const KuvTest::TestKey terminalServer{HKEY_LOCAL_MACHINE,
                                        L"SYSTEM\\CurrentControlSet\\Control\\Terminal Server"};
  int remoteMetric = 0;
  DWORD ownSession = 3;
  BOOL sessionKnown = TRUE;
  KUV_IMPORT_HOOK(metric, GetSystemMetrics);
  KUV_IMPORT_HOOK(process, GetCurrentProcessId);
  KUV_IMPORT_HOOK(session, ProcessIdToSessionId);
};

TEST_F(RemoteSession, MetricAloneReportsARemoteSession) {
  SetConsoleSession(3);
  KUV_IMPORT_HOOK(open, RegOpenKeyExW);
  for (const int value : {1, 2, -1}) {
    SCOPED_TRACE(value);
    remoteMetric = value;
    EXPECT_TRUE(IsRemoteSession());
  }
  EXPECT_EQ(metric.Calls(), (std::vector<std::tuple<int>>{{0x1000}, {0x1000}, {0x1000}}));
  EXPECT_EQ(open.CallCount(), 0u);
  EXPECT_EQ(session.CallCount(), 0u);
}

TEST_F(RemoteSession, OtherSessionThanTheConsoleSessionIsRemote) {
  const std::pair<DWORD, DWORD> rows[] = {{0, 0}, {1, 1}, {3, 3}, {0xFFFFFFFF, 0xFFFFFFFF}, {3, 1},
                                          {1, 3}, {0, 1}, {1, 0}, {1, 0x01000001}};
  for (const auto& [own, console] : rows) {
    SCOPED_TRACE(::testing::Message() << own << " against " << console);
    ownSession = own;
    SetConsoleSession(console);
    EXPECT_EQ(IsRemoteSession(), own != console);
  }
  EXPECT_EQ(metric.Calls()[0], std::tuple<int>{0x1000});
}

TEST_F(RemoteSession, QueriesTheSessionOfThisProcess) {
  SetConsoleSession(1);
  EXPECT_TRUE(IsRemoteSession());
  ASSERT_EQ(session.CallCount(), 1u);
  EXPECT_EQ(std::get<0>(session.Calls()[0]), kOwnProcess);
}

TEST_F(RemoteSession, MissingKeyIsLocal) {
  KUV_IMPORT_HOOK(close, RegCloseKey);
  EXPECT_FALSE(IsRemoteSession());
  EXPECT_EQ(close.CallCount(), 0u);
  EXPECT_EQ(session.CallCount(), 0u);
}

TEST_F(RemoteSession, KeyThatCannotBeOpenedIsLocal) {
  SetConsoleSession(1);
  KUV_IMPORT_HOOK(open, RegOpenKeyExW);
  KUV_IMPORT_HOOK(query, RegQueryValueExW);
  KUV_IMPORT_HOOK(close, RegCloseKey);
  open.Script({[](auto...) { return ERROR_ACCESS_DENIED; }});
  EXPECT_FALSE(IsRemoteSession());
  EXPECT_EQ(query.CallCount(), 0u);
  EXPECT_EQ(close.CallCount(), 0u);
}

TEST_F(RemoteSession, MissingValueOrOneOfMoreThanFourBytesIsLocal) {
  const BYTE data[8] = {1};
  terminalServer.Create();
  EXPECT_FALSE(IsRemoteSession());
  for (const std::size_t size : {5u, 8u}) {
    SCOPED_TRACE(size);
    SetConsoleSession(REG_BINARY, data, size);
    EXPECT_FALSE(IsRemoteSession());
  }
  EXPECT_EQ(session.CallCount(), 0u);
}

TEST_F(RemoteSession, FailedReadIsLocalWhateverIsInTheBuffer) {
  SetConsoleSession(3);
  KUV_IMPORT_HOOK(query, RegQueryValueExW);
  query.Answer([](HKEY, const wchar_t*, DWORD*, DWORD*, BYTE* data, DWORD*) {
    std::memset(data, 0xFF, 4);
    return ERROR_READ_FAULT;
  });
  EXPECT_FALSE(IsRemoteSession());
  EXPECT_EQ(session.CallCount(), 0u);
}

TEST_F(RemoteSession, AcceptsFourBytesOfAnyType) {
  const BYTE same[4] = {3};
  const BYTE other[4] = {1};
  for (const DWORD type : {REG_NONE, REG_SZ, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_DWORD_BIG_ENDIAN,
                           REG_MULTI_SZ, REG_QWORD}) {
    SCOPED_TRACE(type);
    SetConsoleSession(type, same, sizeof(same));
    EXPECT_FALSE(IsRemoteSession());
    SetConsoleSession(type, other, sizeof(other));
    EXPECT_TRUE(IsRemoteSession());
  }
}

TEST_F(RemoteSession, ReadsAShortValueAsTheLowBytes) {
  const BYTE data[] = {3, 0};
  SetConsoleSession(REG_BINARY, data, sizeof(data));
  EXPECT_FALSE(IsRemoteSession());
  ownSession = 4;
  EXPECT_TRUE(IsRemoteSession());
}

TEST_F(RemoteSession, UnknownSessionIsLocal) {
  SetConsoleSession(1);
  sessionKnown = FALSE;
  EXPECT_FALSE(IsRemoteSession());
  EXPECT_EQ(session.CallCount(), 1u);
}

TEST_F(RemoteSession, OpensTheKeyForReadingAndReadsFourBytesOfAnyType) {
  SetConsoleSession(1);
  KUV_IMPORT_HOOK(open, RegOpenKeyExW);
  KUV_IMPORT_HOOK(query, RegQueryValueExW);
  DWORD size = 0;
  query.Answer([&](HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* bytes) {
    size = *bytes;
    return query.Original(key, name, reserved, type, data, bytes);
  });
  EXPECT_TRUE(IsRemoteSession());
  ASSERT_EQ(open.CallCount(), 1u);
  const auto& [root, path, options, access, result] = open.Calls()[0];
  EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
  EXPECT_STREQ(path, L"SYSTEM\\CurrentControlSet\\Control\\Terminal Server\\");
  EXPECT_EQ(options, 0u);
  EXPECT_EQ(access, 0x20019u);
  EXPECT_NE(result, nullptr);
  EXPECT_EQ(size, 4u);
  ASSERT_EQ(query.CallCount(), 1u);
  EXPECT_STREQ(std::get<1>(query.Calls()[0]), L"GlassSessionId");
  EXPECT_EQ(std::get<2>(query.Calls()[0]), nullptr);
}

TEST_F(RemoteSession, ClosesTheKeyOnEveryPath) {
  enum class Path { Answered, NoValue, NoSession };
  for (const Path path : {Path::Answered, Path::NoValue, Path::NoSession}) {
    SCOPED_TRACE(static_cast<int>(path));
    SetConsoleSession(1);
    if (path == Path::NoValue) terminalServer.DeleteValue(L"GlassSessionId");
    sessionKnown = path != Path::NoSession;
    HKEY opened = nullptr;
    KUV_IMPORT_HOOK(open, RegOpenKeyExW);
    KUV_IMPORT_HOOK(close, RegCloseKey);
    open.Answer([&](HKEY root, const wchar_t* name, DWORD options, REGSAM access, HKEY* result) {
      const LSTATUS status = open.Original(root, name, options, access, result);
      opened = *result;
      return status;
    });
    EXPECT_EQ(IsRemoteSession(), path == Path::Answered);
    EXPECT_EQ(close.Calls(), (std::vector<std::tuple<HKEY>>{{opened}}));
  }
}

}  // namespace
