#include <gtest/gtest.h>

#include "Samples.h"
#include "Support/MemoryExhaustion.h"

// A separate program, because it replaces operator new.
namespace {

using namespace Kuv::Signing;
using namespace KuvTest;

// Fails each allocation in turn, until none is left to fail.
template <typename Operation>
void ExpectOnlyBadAlloc(Operation operation) {
  bool struck = true;
  for (std::size_t failure = 1; struck; ++failure) {
    const std::size_t before = LiveBlocks();
    {
      const MemoryExhaustion exhaustion{failure, MemoryExhaustion::Lasts::OneCall};
      try {
        operation();
        EXPECT_FALSE(exhaustion.Struck()) << "an allocation failed without notice: " << failure;
      } catch (const std::bad_alloc&) {
      }
      struck = exhaustion.Struck();
    }
    EXPECT_EQ(LiveBlocks(), before) << failure;
    ASSERT_LT(failure, 1000u);
  }
}

TEST(ExhaustedMemory, PassesThroughSigningAndVerification) {
  const Credentials credentials = SampleCredentials();
  const SignedRequest sample = *Sign(SampleRequest(), credentials);
  for (const Request& request : {SampleRequest(), SampleJson()}) {
    ExpectOnlyBadAlloc([&] { EXPECT_TRUE(Sign(request, credentials)); });
    ExpectOnlyBadAlloc([&] { EXPECT_FALSE(MaskedForLog(request, {"user"}).empty()); });
  }
  const ReceivedRequest received{.method = sample.method,
                                 .host = sample.host,
                                 .path = sample.target,
                                 .content = ReceivedParameters{sample.body},
                                 .date = sample.headers[0].value,
                                 .authorization = sample.headers[1].value};
  ExpectOnlyBadAlloc([&] {
    EXPECT_EQ(Verify(received, credentials, *ParseHttpDate(kDate), std::chrono::seconds{1}),
              Verdict::Accepted);
  });
  ExpectOnlyBadAlloc([] { static_cast<void>(SampleCredentials()); });
}

}  // namespace
