#include <iterator>

#include <gtest/gtest.h>

#include "CryptoApiScript.h"
#include "KuvAuth/ServiceClient/Hashing.h"
#include "Support/LogCapture.h"

namespace {

using Kuv::Util::CryptoHash;
using KuvTest::LogLines;
using Bytes = std::vector<std::uint8_t>;
using Events = std::vector<std::string>;

// The steps that can fail, in order, with their names in the log. The unusual punctuation is required.
const std::pair<const char*, const char*> kSteps[] = {
    {"acquire 24", "CryptoHash:CryptAcquireContext"},
    {"create hash 800E with key 0", "CryptoHash::CryptCreateHash"},
    {"hash data with 201", "CryptoHash:CryptHashData"},
    {"get length of 201", "CryptoHash:CryptGetHashParam() Hash Size)"},
    {"get value of 201", "CryptoHash:CryptGetHashParam(HP_HASHVAL)"},
};

Events StepsAndReleases(std::size_t count, bool lastFailed) {
  Events events;
  for (std::size_t step = 0; step < count; ++step) events.push_back(kSteps[step].first);
  const std::size_t done = lastFailed ? count - 1 : count;
  if (done >= 2) events.push_back("destroy hash 201");
  if (done >= 1) events.push_back("release 101");
  return events;
}

class CryptoHashCalls : public ::testing::Test {
 protected:
  KuvTest::LogCapture log;
  KuvTest::CryptoApiScript crypto;
};

TEST_F(CryptoHashCalls, RunInOrderAndReleaseEverythingInOrder) {
  EXPECT_EQ(CryptoHash(std::string("te\0xt", 5), 0x800E),
            (Bytes{'t', 'h', 'e', '-', 'v', 'a', 'l', 'u', 'e'}));
  EXPECT_EQ(crypto.events, StepsAndReleases(5, /*lastFailed=*/false));
  EXPECT_EQ(crypto.hashed, std::string("te\0xt", 5));
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(CryptoHashCalls, UseTheGivenAlgorithmAndHashTheEmptyText) {
  EXPECT_EQ(CryptoHash("", 0x8004).size(), 9u);
  EXPECT_EQ(crypto.events[1], "create hash 8004 with key 0");
  EXPECT_EQ(crypto.events[2], "hash data with 201");
  EXPECT_EQ(crypto.hashed, "");
}

TEST_F(CryptoHashCalls, ReturnTheLengthOfTheSecondAnswer) {
  crypto.valueLength = 64;
  EXPECT_EQ(CryptoHash("x", 0x800E).size(), 9u);
}

class CryptoHashFailure : public CryptoHashCalls, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(CryptoHashFailure, IsLoggedReturnsNothingAndReleasesEverything) {
  const std::size_t step = GetParam();
  crypto.Fail(static_cast<int>(step), 1234);
  EXPECT_EQ(CryptoHash("some-data", 0x800E), Bytes{});
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Error, std::string{"System call '"} + kSteps[step - 1].second +
                                                         "' failed. {error: 1234}"}}));
  EXPECT_EQ(crypto.events, StepsAndReleases(step, /*lastFailed=*/true));
  EXPECT_FALSE(log.Contains("some-data"));
  EXPECT_FALSE(log.Contains("the-value"));
}

INSTANTIATE_TEST_SUITE_P(OfEachStep, CryptoHashFailure,
                         ::testing::Range<std::size_t>(1, std::size(kSteps) + 1),
                         [](const auto& row) { return "Step" + std::to_string(row.param); });

}  // namespace
