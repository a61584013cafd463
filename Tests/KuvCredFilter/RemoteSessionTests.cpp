#include "KuvAuth/Support/RemoteSession.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "Support/ImportHook.h"
#include "Support/RegistrySandbox.h"

namespace {

using Kuv::Util::IsRemoteSession;
using KuvTest::RegistrySandbox;
using KuvTest::TestKey;

// A session whose metric, own number and registry are the test's.
class RemoteSession : public ::testing::Test {
 protected:
  RemoteSession() {
    SetMetric(0);
    SetOwnSession(3);
  }

  void SetMetric(int value) {
    metrics.Answer([=](int index) { return index == 0x1000 ? value : 0; });
  }

  // No number: the platform cannot tell.
  void SetOwnSession(std::optional<DWORD> number) {
    session.Answer([=](DWORD process, DWORD* result) -> BOOL {
      EXPECT_EQ(process, ::GetCurrentProcessId());
      *result = number.value_or(0xDEAD);
      return number.has_value() ? TRUE : FALSE;
    });
  }

  RegistrySandbox registry;
  TestKey terminalServer{HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Terminal Server"};
  KUV_IMPORT_HOOK(metrics, GetSystemMetrics);
  KUV_IMPORT_HOOK(session, ProcessIdToSessionId);
};

TEST_F(RemoteSession, TheMetricIsEnough) {
  terminalServer.SetDword(L"GlassSessionId", 3);
  KUV_IMPORT_HOOK(open, RegOpenKeyExW);
  for (const int value : {1, 2, -1}) {
    SetMetric(value);
    EXPECT_TRUE(IsRemoteSession()) << value;
  }
  EXPECT_EQ(open.CallCount(), 0u);
  EXPECT_EQ(session.CallCount(), 0u);
}

TEST_F(RemoteSession, AnotherSessionThanTheGlassOneIsRemote) {
  terminalServer.SetDword(L"GlassSessionId", 2);
  EXPECT_TRUE(IsRemoteSession());
}

TEST_F(RemoteSession, TheGlassSessionIsLocal) {
  terminalServer.SetDword(L"GlassSessionId", 3);
  EXPECT_FALSE(IsRemoteSession());
}

TEST_F(RemoteSession, SessionZeroIsANumberLikeEveryOther) {
  SetOwnSession(0);
  terminalServer.SetDword(L"GlassSessionId", 0);
  EXPECT_FALSE(IsRemoteSession());
  terminalServer.SetDword(L"GlassSessionId", 1);
  EXPECT_TRUE(IsRemoteSession());
  SetOwnSession(1);
  terminalServer.SetDword(L"GlassSessionId", 0);
  EXPECT_TRUE(IsRemoteSession());
}

TEST_F(RemoteSession, AMissingKeyIsLocal) {
  EXPECT_FALSE(IsRemoteSession());
  EXPECT_EQ(session.CallCount(), 0u);
}

TEST_F(RemoteSession, AMissingValueIsLocal) {
  terminalServer.Create();
  EXPECT_FALSE(IsRemoteSession());
  EXPECT_EQ(session.CallCount(), 0u);
}

TEST_F(RemoteSession, AValueOfMoreThanFourBytesIsLocal) {
  terminalServer.SetBytes(L"GlassSessionId", REG_BINARY, "\x01\0\0\0\0", 5);
  EXPECT_FALSE(IsRemoteSession());
  EXPECT_EQ(session.CallCount(), 0u);
}

TEST_F(RemoteSession, AFourByteValueOfAnyTypeIsUsed) {
  for (const DWORD type : {REG_NONE, REG_BINARY, REG_SZ, REG_DWORD_BIG_ENDIAN}) {
    SCOPED_TRACE(type);
    terminalServer.SetBytes(L"GlassSessionId", type, "\x03\0\0\0", 4);
    EXPECT_FALSE(IsRemoteSession());
    terminalServer.SetBytes(L"GlassSessionId", type, "\x04\0\0\0", 4);
    EXPECT_TRUE(IsRemoteSession());
  }
}

TEST_F(RemoteSession, AShorterValueFillsUpWithZeros) {
  terminalServer.SetBytes(L"GlassSessionId", REG_BINARY, "\x03", 1);
  EXPECT_FALSE(IsRemoteSession());
}

TEST_F(RemoteSession, AnUnknownOwnSessionIsLocal) {
  terminalServer.SetDword(L"GlassSessionId", 2);
  SetOwnSession(std::nullopt);
  EXPECT_FALSE(IsRemoteSession());
}

TEST_F(RemoteSession, OpensReadsAndClosesExactly) {
  terminalServer.SetDword(L"GlassSessionId", 2);
  KUV_IMPORT_HOOK(open, RegOpenKeyExW);
  KUV_IMPORT_HOOK(query, RegQueryValueExW);
  KUV_IMPORT_HOOK(close, RegCloseKey);
  HKEY opened = nullptr;
  open.Answer([&](HKEY root, const wchar_t* path, DWORD options, REGSAM access, HKEY* key) {
    EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
    EXPECT_STREQ(path, L"SYSTEM\\CurrentControlSet\\Control\\Terminal Server\\");
    EXPECT_EQ(options, 0u);
    EXPECT_EQ(access, 0x20019u);
    const LSTATUS status = open.Original(root, path, options, access, key);
    opened = *key;
    return status;
  });
  query.Answer([&](HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
    EXPECT_EQ(key, opened);
    EXPECT_STREQ(name, L"GlassSessionId");
    EXPECT_EQ(*size, 4u);
    return query.Original(key, name, reserved, type, data, size);
  });
  EXPECT_TRUE(IsRemoteSession());
  EXPECT_EQ(open.CallCount(), 1u);
  EXPECT_EQ(query.CallCount(), 1u);
  EXPECT_EQ(close.Calls(), (std::vector<std::tuple<HKEY>>{{opened}}));
}

TEST_F(RemoteSession, ClosesTheKeyAfterEveryFailure) {
  terminalServer.Create();
  KUV_IMPORT_HOOK(close, RegCloseKey);
  EXPECT_FALSE(IsRemoteSession());
  EXPECT_EQ(close.CallCount(), 1u);
  terminalServer.SetDword(L"GlassSessionId", 2);
  SetOwnSession(std::nullopt);
  const std::size_t before = close.CallCount();
  EXPECT_FALSE(IsRemoteSession());
  EXPECT_EQ(close.CallCount(), before + 1);
}

TEST_F(RemoteSession, ClosesNothingThatDidNotOpen) {
  KUV_IMPORT_HOOK(close, RegCloseKey);
  EXPECT_FALSE(IsRemoteSession());
  EXPECT_EQ(close.CallCount(), 0u);
}

}  // namespace
