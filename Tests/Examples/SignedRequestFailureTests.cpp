#include <winsock2.h>
#include <windows.h>
#include <wincrypt.h>
#include <winhttp.h>

#include <gmock/gmock.h>

#include "Examples/SignedRequestRun.h"
#include "KuvAuth/Configuration/Configuration.h"
#include "Support/ImportHook.h"
#include "Support/KuvFixture.h"

namespace {

using KuvTest::ExampleRun;
using KuvTest::ImportHook;
using KuvTest::RunExample;

using SignedRequestExampleSettings = KuvTest::KuvFixture;

// Cryptography fails, and nothing reaches a service.
class SignedRequestExampleFailure : public KuvTest::KuvFixture {
 protected:
  SignedRequestExampleFailure() {
    SetServiceCredentials("auth.kuv.example", "user", "the-secret");
    crypto.Answer([](HCRYPTPROV*, LPCWSTR, LPCWSTR, DWORD, DWORD) {
      ::SetLastError(ERROR_ACCESS_DENIED);
      return FALSE;
    });
  }

  ImportHook<decltype(&::CryptAcquireContextW)> crypto{"CryptAcquireContextW"};
};

TEST_F(SignedRequestExampleSettings, AreAllRequired) {
  registry.Local().SetText(L"Host", L"auth.kuv.example");
  registry.Local().SetText(L"IKey", L"user");
  const ExampleRun run = RunExample({L"GET", L"auth.kuv.example", L"/"});
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err,
            "KuvSignedRequest: Host, IKey and SKey must all be set in "
            "HKEY_LOCAL_MACHINE\\Software\\Kuvant\\KuvCredProv or its policy key\n");
}

TEST_F(SignedRequestExampleFailure, WithoutASignatureShowsNoRequest) {
  const ExampleRun run = RunExample({L"POST", L"auth.kuv.example", L"/v1/auth", L"a=1"});
  EXPECT_EQ(run.exitCode, 4);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "KuvSignedRequest: the library could not build the Authorization header\n");
}

TEST_F(SignedRequestExampleFailure, WithoutADigestOfTheBodyShowsNoRequest) {
  const ExampleRun run = RunExample({L"POST", L"auth.kuv.example", L"/v1/auth", L"--json", L"{}"});
  EXPECT_EQ(run.exitCode, 4);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "KuvSignedRequest: the library could not build the text to sign\n");
}

TEST_F(SignedRequestExampleFailure, WithoutADateShowsNoRequest) {
  ImportHook<decltype(&::WinHttpTimeFromSystemTime)> time{"WinHttpTimeFromSystemTime"};
  time.Answer([](const SYSTEMTIME*, LPWSTR) { return FALSE; });
  const ExampleRun run = RunExample({L"POST", L"auth.kuv.example", L"/v1/auth", L"a=1"});
  EXPECT_EQ(run.exitCode, 4);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "KuvSignedRequest: the library could not build the Date header\n");
}

TEST_F(SignedRequestExampleFailure, IsNotSentAnywhere) {
  ImportHook<decltype(&::WinHttpOpen)> open{"WinHttpOpen"};
  RunExample({L"POST", L"auth.kuv.example", L"/v1/auth", L"--send", L"http://127.0.0.1"});
  EXPECT_EQ(open.CallCount(), 0u);
}

}  // namespace
