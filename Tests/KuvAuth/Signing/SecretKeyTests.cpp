#include <chrono>
#include <functional>
#include <optional>

#include "../Configuration/FakeRegistry.h"
#include "../ServiceClient/CryptoApiScript.h"
#include "Samples.h"
#include "Support/KuvFixture.h"
#include "Support/Secrets/SecretTraces.h"

// Searches the freed memory and the stack for parts of the key, wherever the signing layer has it.
namespace {

using namespace Kuv::Signing;
using namespace KuvTest;

constexpr char kPath[] = "Software\\Kuvant\\KuvCredProv";
// For a heap block, and for the buffer inside a string.
const std::string kSecrets[] = {"aB3$xYz~9Qw!kLm#7RtV^pN&2sDfGh*J", "aB3$xYz~9Qw"};

class SecretOfCredentials : public KuvFixture {
 protected:
  void SetSettings(const char* host, const char* identifier, const std::string& secret) {
    fake.SetText(kPath, "Host", host);
    fake.SetText(kPath, "IKey", identifier);
    fake.SetText(kPath, "SKey", secret);
  }

  static void ExpectNoTraces(const std::string& secret, const std::function<void()>& action) {
    const SecretTraces traces = FindSecretTraces(secret, action);
    EXPECT_EQ(traces.freedBlocks, 0u);
    EXPECT_EQ(traces.onStack, 0u);
  }

  FakeRegistry fake;
};

TEST_F(SecretOfCredentials, LeavesNoTraceOfALoad) {
  for (const std::string& secret : kSecrets) {
    SCOPED_TRACE(secret);
    SetSettings(kHost, kUser, secret);
    std::optional<Credentials> loaded;
    ExpectNoTraces(secret, [&] { loaded = Credentials::FromSettings(fake).Value(); });
    EXPECT_EQ(loaded->SecretKey().ExposeForSigning().size(), secret.size());
    ExpectNoTraces(secret, [&] { loaded.reset(); });
  }
}

TEST_F(SecretOfCredentials, LeavesNoTraceOfALoadThatFails) {
  const struct {
    const char* host;
    const char* identifier;
    const char* field;
  } rows[] = {{"", kUser, "Host"}, {kHost, "", "IKey"}, {"host:0", kUser, "Host"}, {kHost, "i:d", "IKey"}};
  for (const std::string& secret : kSecrets) {
    for (const auto& row : rows) {
      SCOPED_TRACE(secret + " " + row.host + " " + row.identifier);
      SetSettings(row.host, row.identifier, secret);
      std::string field;
      ExpectNoTraces(secret, [&] { field = Credentials::FromSettings(fake).GetFailure().field; });
      EXPECT_EQ(field, row.field);
    }
  }
}

// The platform is replaced: what it leaves is its own matter. It returns 9 bytes, which are refused at the
// end.
TEST_F(SecretOfCredentials, LeavesNoTraceOfASignatureWhicheverCallFails) {
  constexpr int kCalls = 8;
  for (const std::string& secret : kSecrets) {
    const Credentials credentials = SampleCredentials(secret);
    for (int failing = 0; failing <= kCalls; ++failing) {
      SCOPED_TRACE(secret + " " + std::to_string(failing));
      CryptoApiScript crypto;
      crypto.Fail(failing, ERROR_ACCESS_DENIED);
      std::string field;
      ExpectNoTraces(secret, [&] { field = Sign(SampleRequest(), credentials).GetFailure().field; });
      EXPECT_EQ(field, "signature");
    }
  }
}

// The platform, which needs its own registry, leaves traces on the stack.
TEST(SecretOfSigner, LeavesNoTraceInFreedBlocks) {
  for (const std::string& secret : kSecrets) {
    SCOPED_TRACE(secret);
    bool accepted = false;
    const SecretTraces traces = FindSecretTraces(secret, [&] {
      const Credentials credentials = SampleCredentials(secret);
      Signer signer{SampleCredentials(secret)};
      const SignedRequest request = signer.Sign(SampleRequest()).Value();
      const ReceivedRequest received{.method = request.method,
                                     .host = request.host,
                                     .path = request.target,
                                     .content = ReceivedParameters{request.body},
                                     .date = request.headers[0].value,
                                     .authorization = request.headers[1].value};
      accepted =
          Verify(received, credentials, *ParseHttpDate(kDate), std::chrono::seconds{0}) == Verdict::Accepted;
    });
    EXPECT_TRUE(accepted);
    EXPECT_EQ(traces.freedBlocks, 0u);
  }
}

}  // namespace
