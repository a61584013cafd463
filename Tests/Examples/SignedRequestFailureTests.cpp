#include <winsock2.h>
#include <windows.h>
#include <wincrypt.h>
#include <winhttp.h>

#include <gmock/gmock.h>

#include "Examples/SignedRequestRun.h"
#include "KuvAuth/ServiceClient/AtlException.h"
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
  const ExampleRun run = RunExample({L"GET", L"/"}, [] { return Kuv::Signing::Credentials::FromSettings(); });
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err,
            "KuvSignedRequest: Settings are missing: SKey. Set them in "
            "HKEY_LOCAL_MACHINE\\Software\\Kuvant\\KuvCredProv.\n");
}

TEST_F(SignedRequestExampleFailure, WithoutASignatureShowsNoRequest) {
  const ExampleRun run = RunExample({L"POST", L"/v1/auth", L"a=1"});
  EXPECT_EQ(run.exitCode, 4);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err,
            "KuvSignedRequest: The platform call CryptAcquireContextW failed for signature. "
            "{error: 5 (0x00000005)}\n");
}

TEST_F(SignedRequestExampleFailure, WithoutADigestOfTheBodyShowsNoRequest) {
  const ExampleRun run = RunExample({L"POST", L"/v1/auth", L"--json", L"{}"});
  EXPECT_EQ(run.exitCode, 4);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err,
            "KuvSignedRequest: The platform call CryptAcquireContextW failed for body. "
            "{error: 5 (0x00000005)}\n");
}

TEST(SignedRequestExampleException, EndsTheProgramWithAMessage) {
  struct {
    void (*raise)();
    const char* message;
  } const rows[] = {
      {[] { throw std::bad_alloc{}; }, "KuvSignedRequest: std::bad_alloc\n"},
      {[] { throw CAtlException{E_FAIL}; }, "KuvSignedRequest: a text is too long\n"},
  };
  for (const auto& row : rows) {
    const ExampleRun run = RunExample({L"GET", L"/"}, [&]() -> decltype(KuvTest::SampleCredentials()) {
      row.raise();
      return KuvTest::SampleCredentials();
    });
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, row.message);
  }
}

TEST_F(SignedRequestExampleFailure, IsNotSentAnywhere) {
  ImportHook<decltype(&::WinHttpOpen)> open{"WinHttpOpen"};
  RunExample({L"POST", L"/v1/auth", L"--send", L"http://127.0.0.1"});
  EXPECT_EQ(open.CallCount(), 0u);
}

}  // namespace
