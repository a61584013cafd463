#include <windows.h>
#include <wincrypt.h>
#include <winhttp.h>

#include "../ServiceClient/CryptoApiScript.h"
#include "FreedSecrets.h"
#include "SignFixture.h"
#include "Support/ImportHook.h"

namespace {

using namespace Kuv::Signing;
using namespace KuvTest;

TEST_F(SignRequest, ReportsTheFailedCallOfTheDate) {
  KUV_IMPORT_HOOK(format, WinHttpTimeFromSystemTime);
  format.Answer([](const SYSTEMTIME*, wchar_t*) {
    ::SetLastError(87);
    return FALSE;
  });
  Request request = SampleRequest();
  request.date = std::nullopt;
  const Failure failure = FailureOf(request);
  EXPECT_EQ(failure.reason, Reason::PlatformCallFailed);
  EXPECT_EQ(failure.field, "date");
  EXPECT_EQ(failure.call, "WinHttpTimeFromSystemTime");
  EXPECT_EQ(failure.code, 87u);
}

TEST_F(SignRequest, RefusesAnUnusableDateOfThePlatform) {
  KUV_IMPORT_HOOK(format, WinHttpTimeFromSystemTime);
  format.Answer([](const SYSTEMTIME*, wchar_t* text) {
    *text = L'\0';
    return TRUE;
  });
  Request request = SampleRequest();
  request.date = std::nullopt;
  EXPECT_EQ(FailureOf(request).reason, Reason::PlatformCallFailed);
  EXPECT_EQ(FailureOf(request).field, "date");
}

TEST_F(SignRequest, ReportsAValueThatCannotBeConverted) {
  KUV_IMPORT_HOOK(convert, WideCharToMultiByte);
  convert.Answer([](auto&&...) { return 0; });
  EXPECT_EQ(FailureOf(SampleRequest()).reason, Reason::PlatformCallFailed);
  EXPECT_EQ(FailureOf(SampleRequest()).field, "parameters");
  EXPECT_EQ(FailureOf(SampleRequest()).call, "WideCharToMultiByte");
}

TEST_F(SignRequest, ReportsEachFailedCallOfTheCryptography) {
  const char* const hmacCalls[] = {"CryptAcquireContextW", "CryptCreateHash",   "CryptImportKey",
                                   "CryptCreateHash",      "CryptSetHashParam", "CryptHashData",
                                   "CryptGetHashParam",    "CryptGetHashParam"};
  const char* const digestCalls[] = {"CryptAcquireContextW", "CryptCreateHash", "CryptHashData",
                                     "CryptGetHashParam", "CryptGetHashParam"};
  const auto check = [this](const Request& request, const char* field, const auto& calls) {
    int step = 1;
    for (const char* const call : calls) {
      SCOPED_TRACE(call);
      CryptoApiScript crypto;
      crypto.Fail(step, 1234u + static_cast<DWORD>(step));
      const Failure failure = FailureOf(request);
      EXPECT_EQ(failure.reason, Reason::PlatformCallFailed);
      EXPECT_EQ(failure.field, field);
      EXPECT_EQ(failure.call, call);
      EXPECT_EQ(failure.code, 1234u + static_cast<DWORD>(step));
      ++step;
    }
  };
  check(SampleRequest(), "signature", hmacCalls);
  check(SampleJson(), "body", digestCalls);
}

// The script's values have 9 bytes.
TEST_F(SignRequest, RefusesAValueOfAnotherLengthThanTheStandards) {
  CryptoApiScript crypto;
  EXPECT_EQ(FailureOf(SampleRequest()).field, "signature");
  EXPECT_EQ(FailureOf(SampleJson()).field, "body");
  EXPECT_EQ(FailureOf(SampleJson()).reason, Reason::PlatformCallFailed);
  EXPECT_EQ(FailureOf(SampleJson()).call, "CryptGetHashParam");
}

TEST_F(SignRequest, AcquiresAndReleasesTheContextForEachRequest) {
  KUV_IMPORT_HOOK(acquire, CryptAcquireContextW);
  KUV_IMPORT_HOOK(release, CryptReleaseContext);
  for (int i = 0; i < 2; ++i) ASSERT_TRUE(Sign(SampleJson(), credentials));
  EXPECT_EQ(acquire.CallCount(), 4u);
  EXPECT_EQ(release.CallCount(), 4u);
}

TEST_F(SignRequest, LeavesNoCopyOfTheSecretInFreedMemory) {
  FreedSecrets freed{kKey};
  {
    const Credentials own = SampleCredentials();
    ASSERT_TRUE(Sign(SampleRequest(), own));
    ASSERT_TRUE(Sign(SampleJson(), own));
    Signer signer{SampleCredentials()};
    ASSERT_TRUE(signer.Sign(SampleRequest()));
  }
  EXPECT_EQ(freed.Count(), 0);
}

}  // namespace
