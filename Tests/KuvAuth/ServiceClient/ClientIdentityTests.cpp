#include "KuvAuth/ServiceClient/ClientIdentity.h"

#include <cstring>

#include <gtest/gtest.h>

#include "Support/ImportHook.h"
#include "Support/KuvFixture.h"

namespace {

using namespace Kuv::Util;
using KuvTest::LogLines;
using KuvTest::TestKey;

TEST(BuildProductToken, NamesProductAndVersion) {
  EXPECT_EQ(BuildProductToken(), "KuvCredProv/4.3.1700.1150");
}

// A system of version 10.0, build 19041, ReleaseId "2004", UBR 1288, an x64 workstation, unless a test
// changes it.
class OsDescription : public KuvTest::KuvFixture {
 protected:
  OsDescription() {
    key.SetText(L"ReleaseId", L"2004");
    key.SetDword(L"UBR", 1288);
    version.Answer([this](OSVERSIONINFOW* record) {
      const auto* const asked = reinterpret_cast<const OSVERSIONINFOEXW*>(record);
      OSVERSIONINFOEXW zeros{};
      zeros.dwOSVersionInfoSize = 284;
      EXPECT_EQ(std::memcmp(asked, &zeros, sizeof(zeros)), 0);
      if (versionFails) return FALSE;
      auto* const told = reinterpret_cast<OSVERSIONINFOEXW*>(record);
      told->dwMajorVersion = 10;
      told->dwMinorVersion = 0;
      told->dwBuildNumber = 19041;
      told->wProductType = productType;
      return TRUE;
    });
    verify.Answer([](auto&&...) { return TRUE; });
    systemInfo.Answer([this](SYSTEM_INFO* info) { info->wProcessorArchitecture = architecture; });
    wow64.Answer([this](HANDLE process, BOOL* flag) {
      EXPECT_EQ(process, ::GetCurrentProcess());
      EXPECT_EQ(*flag, FALSE);
      *flag = wow64Flag;
      ::SetLastError(wow64Result != FALSE ? 0 : 1234);
      return wow64Result;
    });
  }

  TestKey key{HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion"};
  bool versionFails = false;
  BYTE productType = 1;
  WORD architecture = 9;
  BOOL wow64Flag = FALSE;
  BOOL wow64Result = TRUE;
  KuvTest::ImportHook<decltype(&::GetVersionExW)> version{"GetVersionExW"};
  KuvTest::ImportHook<decltype(&::VerifyVersionInfoW)> verify{"VerifyVersionInfoW"};
  KuvTest::ImportHook<decltype(&::GetSystemInfo)> systemInfo{"GetSystemInfo"};
  KuvTest::ImportHook<decltype(&::IsWow64Process)> wow64{"IsWow64Process"};
};

TEST_F(OsDescription, HasFiveNumbersOnWindows10AndThreeWithoutReleaseInfo) {
  EXPECT_EQ(BuildOsDescription(), "Windows NT 10.0.2004.19041.1288; x64; Workstation");
  EXPECT_EQ(log.Lines(), LogLines{});
  key.SetText(L"ReleaseId", L"abc");
  EXPECT_EQ(BuildOsDescription(), "Windows NT 10.0.0.19041.1288; x64; Workstation");
  key.SetText(L"ReleaseId", L"4294967295");
  key.SetDword(L"UBR", 4294967294);
  EXPECT_EQ(BuildOsDescription(), "Windows NT 10.0.-1.19041.-2; x64; Workstation");
  key.SetDword(L"ReleaseId", 2004);
  EXPECT_EQ(BuildOsDescription(), "Windows NT 10.0.19041; x64; Workstation") << "ReleaseId of another type";
  key.SetText(L"ReleaseId", L"2004");
  key.DeleteValue(L"UBR");
  EXPECT_EQ(BuildOsDescription(), "Windows NT 10.0.19041; x64; Workstation") << "no update revision";
  key.SetDword(L"UBR", 1288);
  verify.Answer([](auto&&...) { return FALSE; });
  EXPECT_EQ(BuildOsDescription(), "Windows NT 10.0.19041; x64; Workstation") << "an older system";
}

TEST_F(OsDescription, VersionThatCannotBeReadIsZero) {
  versionFails = true;
  EXPECT_EQ(BuildOsDescription(), "Windows NT 0.0.2004.0.1288; x64");
}

TEST_F(OsDescription, NamesTheProcessor) {
  key.Delete();
  const std::pair<WORD, const char*> rows[] = {
      {WORD{9}, "; x64"}, {WORD{6}, "; IA64"}, {WORD{0}, "; x86"},
      {WORD{12}, ""},     {WORD{5}, ""},       {WORD{0xFFFF}, ""},
  };
  for (const auto& [number, field] : rows) {
    SCOPED_TRACE(number);
    architecture = number;
    EXPECT_EQ(BuildOsDescription(), std::string{"Windows NT 10.0.19041"} + field + "; Workstation");
  }
  EXPECT_EQ(wow64.CallCount(), 1u) << "called only on a 32-bit processor";
}

TEST_F(OsDescription, OmitsTheProcessorOfAnArm64Server) {
  key.Delete();
  architecture = 12;
  productType = 3;
  EXPECT_EQ(BuildOsDescription(), "Windows NT 10.0.19041; Server");
}

TEST_F(OsDescription, NamesWow64ForAFlagOfExactlyOne) {
  key.Delete();
  architecture = 0;
  wow64Flag = 1;
  EXPECT_EQ(BuildOsDescription(), "Windows NT 10.0.19041; WOW64; Workstation");
  wow64Flag = 2;
  EXPECT_EQ(BuildOsDescription(), "Windows NT 10.0.19041; x86; Workstation");
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(OsDescription, FailedWow64QueryIsLoggedAndReportsX86) {
  key.Delete();
  architecture = 0;
  wow64Result = FALSE;
  wow64Flag = 1;
  EXPECT_EQ(BuildOsDescription(), "Windows NT 10.0.19041; x86; Workstation");
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Error, "System call 'IsWow64Process' failed. {error: 1234}"}}));
}

TEST_F(OsDescription, NamesTheProductType) {
  key.Delete();
  const std::pair<BYTE, const char*> rows[] = {
      {BYTE{0}, ""},   {BYTE{1}, "; Workstation"}, {BYTE{2}, "; DC"}, {BYTE{3}, "; Server"}, {BYTE{4}, ""},
      {BYTE{255}, ""},
  };
  for (const auto& [number, field] : rows) {
    SCOPED_TRACE(int{number});
    productType = number;
    EXPECT_EQ(BuildOsDescription(), std::string{"Windows NT 10.0.19041; x64"} + field);
  }
}

class OptionFields : public KuvTest::KuvFixture {};

TEST_F(OptionFields, FailModeComesFromTheConfiguration) {
  GetConfiguration()->FailOpen = true;
  EXPECT_EQ(BuildFailModeField(), "; failmode: Open");
  GetConfiguration()->FailOpen = false;
  EXPECT_EQ(BuildFailModeField(), "; failmode: Closed");
}

TEST_F(OptionFields, UsernameFormatIsReadAtEachCallAndNtlmByDefault) {
  GetConfiguration()->UsernameFormat = UsernameFormat::UPN;
  EXPECT_EQ(BuildUsernameFormatField(), "; UsernameFormat: NTLM");
  const std::pair<std::uint32_t, const char*> rows[] = {
      {0, "; UsernameFormat: SAM"},  {1, "; UsernameFormat: NTLM"}, {2, "; UsernameFormat: UPN"},
      {3, "; UsernameFormat: NTLM"}, {7, "; UsernameFormat: NTLM"}, {0xFFFFFFFF, "; UsernameFormat: NTLM"},
  };
  for (const auto& [number, field] : rows) {
    SCOPED_TRACE(number);
    registry.Local().SetDword(L"UsernameFormatForService", number);
    EXPECT_EQ(BuildUsernameFormatField(), field);
  }
  registry.Policy().SetDword(L"UsernameFormatForService", 2);
  EXPECT_EQ(BuildUsernameFormatField(), "; UsernameFormat: UPN") << "the policy value takes precedence";
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(OptionFields, FollowOneAnother) {
  GetConfiguration()->FailOpen = false;
  EXPECT_EQ(BuildClientOptionFields(), "; failmode: Closed; UsernameFormat: NTLM");
}

}  // namespace
