#include <gtest/gtest.h>

#include "CryptoApiScript.h"
#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/ServiceClient/SignedRequest.h"
#include "Support/LogCapture.h"
#include "Support/Secrets/SecretTraces.h"

namespace {

using KuvTest::SecretTraces;

// For a heap block, and for the buffer inside a string.
const std::string kSecrets[] = {"aB3$xYz~9Qw!kLm#7RtV^pN&2sDfGh*J", "aB3$xYz~9Qw"};
constexpr int kSteps = 8;

class SigningKey : public ::testing::Test {
 protected:
  ~SigningKey() override { *GetConfiguration() = Configuration{}; }

  KuvTest::LogCapture log;
};

// The platform is replaced: what it leaves is its own matter. Step 0 does not exist, so none fails then.
TEST_F(SigningKey, LeavesNoTraceOfASignatureWhicheverStepFails) {
  for (const std::string& secret : kSecrets) {
    static_cast<void>(SetServiceCredentials("host", "ikey", secret));
    for (int failing = 0; failing <= kSteps; ++failing) {
      SCOPED_TRACE(secret + " " + std::to_string(failing));
      KuvTest::CryptoApiScript crypto;
      crypto.Fail(failing, ERROR_ACCESS_DENIED);
      std::string header;
      const SecretTraces traces =
          KuvTest::FindSecretTraces(secret, [&] { header = Kuv::Util::BuildAuthorizationHeader("text"); });
      EXPECT_EQ(header.empty(), failing != 0);
      EXPECT_EQ(traces.freedBlocks, 0u);
      EXPECT_EQ(traces.onStack, 0u);
    }
  }
}

}  // namespace
