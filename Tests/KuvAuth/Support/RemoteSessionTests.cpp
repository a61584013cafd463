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

// The console session of the machine is what each test writes into the registry; the metric is off and
// this process runs in session 3, unless a test says otherwise.
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

  void SetGlassSession(DWORD type, const void* data, std::size_t size) {
    terminalServer.SetBytes(L"GlassSessionId", type, data, size);
  }
  void SetGlassSession(std::uint32_t id) { SetGlassSession(REG_DWORD, &id, sizeof(id)); }

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

TEST_F(RemoteSession, MetricDecidesAlone) {
  SetGlassSession(3);
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

TEST_F(RemoteSession, SameSessionIsLocal) {
  for (const DWORD id : {0u, 1u, 3u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(id);
    ownSession = id;
    SetGlassSession(id);
    EXPECT_FALSE(IsRemoteSession());
  }
  EXPECT_EQ(metric.Calls()[0], std::tuple<int>{0x1000});
}

TEST_F(RemoteSession, OtherSessionIsRemote) {
  const struct {
    DWORD own;
    DWORD glass;
  } rows[] = {{3, 1}, {1, 3}, {0, 1}, {1, 0}, {1, 0x01000001}};
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::Message() << row.own << " against " << row.glass);
    ownSession = row.own;
    SetGlassSession(row.glass);
    EXPECT_TRUE(IsRemoteSession());
  }
}

TEST_F(RemoteSession, AsksForTheSessionOfThisProcess) {
  SetGlassSession(1);
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
  SetGlassSession(1);
  KUV_IMPORT_HOOK(open, RegOpenKeyExW);
  KUV_IMPORT_HOOK(query, RegQueryValueExW);
  KUV_IMPORT_HOOK(close, RegCloseKey);
  open.Script({[](auto...) { return ERROR_ACCESS_DENIED; }});
  EXPECT_FALSE(IsRemoteSession());
  EXPECT_EQ(query.CallCount(), 0u);
  EXPECT_EQ(close.CallCount(), 0u);
}

TEST_F(RemoteSession, MissingValueIsLocal) {
  terminalServer.Create();
  EXPECT_FALSE(IsRemoteSession());
  EXPECT_EQ(session.CallCount(), 0u);
}

TEST_F(RemoteSession, ReadThatFailsIsLocalWhateverItLeft) {
  SetGlassSession(3);
  KUV_IMPORT_HOOK(query, RegQueryValueExW);
  query.Answer([](HKEY, const wchar_t*, DWORD*, DWORD*, BYTE* data, DWORD*) {
    std::memset(data, 0xFF, 4);
    return ERROR_READ_FAULT;
  });
  EXPECT_FALSE(IsRemoteSession());
  EXPECT_EQ(session.CallCount(), 0u);
}

TEST_F(RemoteSession, ValueOfMoreThanFourBytesIsLocal) {
  const BYTE data[8] = {1};
  for (const std::size_t size : {5u, 8u}) {
    SCOPED_TRACE(size);
    SetGlassSession(REG_BINARY, data, size);
    EXPECT_FALSE(IsRemoteSession());
  }
}

TEST_F(RemoteSession, TakesFourBytesOfAnyType) {
  const BYTE same[4] = {3};
  const BYTE other[4] = {1};
  for (const DWORD type : {REG_NONE, REG_SZ, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_DWORD_BIG_ENDIAN,
                           REG_MULTI_SZ, REG_QWORD}) {
    SCOPED_TRACE(type);
    SetGlassSession(type, same, sizeof(same));
    EXPECT_FALSE(IsRemoteSession());
    SetGlassSession(type, other, sizeof(other));
    EXPECT_TRUE(IsRemoteSession());
  }
}

TEST_F(RemoteSession, TakesAShortValueAsItsLowBytes) {
  const BYTE data[] = {3, 0};
  SetGlassSession(REG_BINARY, data, sizeof(data));
  EXPECT_FALSE(IsRemoteSession());
  ownSession = 4;
  EXPECT_TRUE(IsRemoteSession());
}

TEST_F(RemoteSession, UnknownSessionIsLocal) {
  SetGlassSession(1);
  sessionKnown = FALSE;
  EXPECT_FALSE(IsRemoteSession());
  EXPECT_EQ(session.CallCount(), 1u);
}

TEST_F(RemoteSession, OpensTheTerminalServerKeyForReading) {
  SetGlassSession(1);
  KUV_IMPORT_HOOK(open, RegOpenKeyExW);
  EXPECT_TRUE(IsRemoteSession());
  ASSERT_EQ(open.CallCount(), 1u);
  const auto& [root, path, options, access, result] = open.Calls()[0];
  EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
  EXPECT_STREQ(path, L"SYSTEM\\CurrentControlSet\\Control\\Terminal Server\\");
  EXPECT_EQ(options, 0u);
  EXPECT_EQ(access, 0x20019u);
  EXPECT_NE(result, nullptr);
}

TEST_F(RemoteSession, ReadsFourBytesWithoutAskingForTheType) {
  SetGlassSession(1);
  KUV_IMPORT_HOOK(query, RegQueryValueExW);
  DWORD size = 0;
  query.Answer([&](HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* bytes) {
    size = *bytes;
    return query.Original(key, name, reserved, type, data, bytes);
  });
  EXPECT_TRUE(IsRemoteSession());
  EXPECT_EQ(size, 4u);
  ASSERT_EQ(query.CallCount(), 1u);
  const auto& call = query.Calls()[0];
  EXPECT_STREQ(std::get<1>(call), L"GlassSessionId");
  EXPECT_EQ(std::get<2>(call), nullptr);
}

TEST_F(RemoteSession, ClosesTheKeyOnEveryPath) {
  enum class Path { Answered, NoValue, NoSession };
  for (const Path path : {Path::Answered, Path::NoValue, Path::NoSession}) {
    SCOPED_TRACE(static_cast<int>(path));
    SetGlassSession(1);
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
