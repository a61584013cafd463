#include <windows.h>
#include <wincrypt.h>

#include "SignFixture.h"
#include "Support/ImportHook.h"

namespace {

using namespace Kuv::Signing;
using namespace KuvTest;

class SignerOfRequests : public SignRequest {
 protected:
  Signer signer{SampleCredentials()};
};

TEST_F(SignerOfRequests, ReturnsTheSameAsTheFunction) {
  for (const Request& request : {SampleRequest(), SampleJson(), SampleRequest()}) {
    const Result<SignedRequest> ours = signer.Sign(request);
    const Result<SignedRequest> expected = Sign(request, credentials);
    ASSERT_TRUE(ours);
    EXPECT_EQ(ours->HeaderBlock(), expected->HeaderBlock());
    EXPECT_EQ(ours->canonicalText, expected->canonicalText);
    EXPECT_EQ(ours->body, expected->body);
  }
  Request refused = SampleRequest();
  refused.path = "";
  EXPECT_EQ(signer.Sign(refused).GetFailure().reason, Reason::Empty);
}

TEST_F(SignerOfRequests, OpensEachContextOnceAndReleasesItAtTheEnd) {
  KUV_IMPORT_HOOK(acquire, CryptAcquireContextW);
  KUV_IMPORT_HOOK(release, CryptReleaseContext);
  {
    Signer own{SampleCredentials()};
    EXPECT_EQ(acquire.CallCount(), 0u);
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(own.Sign(SampleRequest()));
    EXPECT_EQ(acquire.CallCount(), 1u);
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(own.Sign(SampleJson()));
    EXPECT_EQ(acquire.CallCount(), 2u);
    Signer moved{std::move(own)};
    ASSERT_TRUE(moved.Sign(SampleJson()));
    EXPECT_EQ(acquire.CallCount(), 2u);
    EXPECT_EQ(release.CallCount(), 0u);
  }
  EXPECT_EQ(release.CallCount(), 2u);
}

TEST_F(SignerOfRequests, ReleasesItsContextWhenAnotherIsAssigned) {
  KUV_IMPORT_HOOK(acquire, CryptAcquireContextW);
  KUV_IMPORT_HOOK(release, CryptReleaseContext);
  Signer own{SampleCredentials()};
  Signer other{SampleCredentials()};
  ASSERT_TRUE(own.Sign(SampleRequest()));
  ASSERT_TRUE(other.Sign(SampleRequest()));
  ASSERT_EQ(acquire.CallCount(), 2u);
  own = std::move(other);
  EXPECT_EQ(release.CallCount(), 1u);
  EXPECT_TRUE(own.Sign(SampleRequest()));
  EXPECT_EQ(acquire.CallCount(), 2u);
}

TEST_F(SignerOfRequests, WorksAgainAfterAFailure) {
  {
    KUV_IMPORT_HOOK(acquire, CryptAcquireContextW);
    acquire.Answer([](auto&&...) {
      ::SetLastError(5);
      return FALSE;
    });
    EXPECT_EQ(signer.Sign(SampleRequest()).GetFailure().code, 5u);
  }
  EXPECT_TRUE(signer.Sign(SampleRequest()));
}

TEST_F(SignerOfRequests, FailsAfterItWasMovedFrom) {
  const Signer moved = std::move(signer);
  const Result<SignedRequest> result = signer.Sign(SampleRequest());  // NOLINT(bugprone-use-after-move)
  ASSERT_FALSE(result);
  EXPECT_EQ(result.GetFailure().reason, Reason::Empty);
  EXPECT_EQ(result.GetFailure().field, "secretKey");
}

}  // namespace
