#include <iterator>

#include <gtest/gtest.h>

#include "CryptoApiScript.h"
#include "HeapWatch.h"
#include "KuvAuth/ServiceClient/Hashing.h"
#include "Support/GuardedBuffer.h"
#include "Support/LogCapture.h"

namespace {

using Kuv::Util::CalculateHmac;
using KuvTest::LogLines;
using Bytes = std::vector<std::uint8_t>;
using Events = std::vector<std::string>;

constexpr char kKey[] = "a-secret-key";
constexpr char kData[] = "some-data";

// The steps that can fail, in order, with their names in the log.
const std::pair<const char*, const char*> kSteps[] = {
    {"acquire 1", "Kuv::Util::CalculateHmac CryptAcquireContext"},
    {"create hash 8004 with key 0", "Kuv::Util::CalculateHmac CryptCreateHash (1)"},
    {"import key", "Kuv::Util::CalculateHmac CryptImportKey"},
    {"create hash 8009 with key 301", "Kuv::Util::CalculateHmac CryptCreateHash (2)"},
    {"set HMAC info of 202", "Kuv::Util::CalculateHmac CryptSetHashParam (HP_HMAC_INFO)"},
    {"hash data with 202", "Kuv::Util::CalculateHmac CryptHashData (Hashing data)"},
    {"get length of 202", "Kuv::Util::CalculateHmac CryptSetHashParam (Hash Length)"},
    {"get value of 202", "Kuv::Util::CalculateHmac CryptGetHashParam (Hash Result)"},
};

// The first `count` steps and the releases of what they created.
Events StepsAndReleases(std::size_t count, bool lastFailed) {
  Events events;
  for (std::size_t step = 0; step < count; ++step) events.push_back(kSteps[step].first);
  const std::size_t done = lastFailed ? count - 1 : count;
  if (done >= 4) events.push_back("destroy hash 202");
  if (done >= 3) events.push_back("destroy key 301");
  if (done >= 2) events.push_back("destroy hash 201");
  if (count >= 3) events.push_back("free blob");
  if (done >= 1) events.push_back("release 101");
  return events;
}

class HmacCalls : public ::testing::Test {
 protected:
  HmacCalls() {
    // Watches the memory of the blob from its import on.
    importKey.Answer([this](HCRYPTPROV provider, const BYTE* data, DWORD size, HCRYPTKEY publicKey,
                            DWORD flags, HCRYPTKEY* key) {
      KuvTest::WatchBlock(data, [this, data] {
        freedBlob.assign(data, data + crypto.blob.size());
        crypto.events.push_back("free blob");
      });
      return importKey.Original(provider, data, size, publicKey, flags, key);
    });
  }

  void ExpectWiped() const { EXPECT_EQ(freedBlob, Bytes(crypto.blob.size(), 0)); }

  void ExpectNoSecretInTheLog() const {
    for (const char* secret : {kKey, kData, "the-value", "7468652D76616C7565", "7468652d76616c7565"}) {
      EXPECT_FALSE(log.Contains(secret)) << secret;
    }
  }

  KuvTest::LogCapture log;
  KuvTest::CryptoApiScript crypto;
  KuvTest::ImportHook<decltype(&::CryptImportKey)> importKey{"CryptImportKey"};
  Bytes freedBlob{1};
};

TEST_F(HmacCalls, RunInOrderAndReleaseEverythingInOrder) {
  EXPECT_EQ(CalculateHmac(kKey, kData), (Bytes{'t', 'h', 'e', '-', 'v', 'a', 'l', 'u', 'e'}));
  EXPECT_EQ(crypto.events, StepsAndReleases(8, /*lastFailed=*/false));
  EXPECT_EQ(crypto.hashed, "some-data");
  EXPECT_EQ(log.Lines(), LogLines{});
  ExpectWiped();
}

TEST_F(HmacCalls, ImportTheKeyInItsBlob) {
  static_cast<void>(CalculateHmac("\x01\xFF\x03", 3, "x", 1));
  EXPECT_EQ(crypto.blobSize, 15u);
  EXPECT_EQ(crypto.blob, (Bytes{0x08, 0x02, 0, 0, 0x02, 0x66, 0, 0, 3, 0, 0, 0, 0x01, 0xFF, 0x03}));
}

TEST_F(HmacCalls, ImportAnEmptyKeyAsAHeaderOnly) {
  static_cast<void>(CalculateHmac("x", 0, "x", 1));
  EXPECT_EQ(crypto.blobSize, 12u);
  EXPECT_EQ(crypto.blob, (Bytes{0x08, 0x02, 0, 0, 0x02, 0x66, 0, 0, 0, 0, 0, 0}));
}

TEST_F(HmacCalls, HashNoDataToo) {
  EXPECT_EQ(CalculateHmac("key", 3, "x", 0).size(), 9u);
  EXPECT_EQ(crypto.hashed, "");
}

TEST_F(HmacCalls, FoldLengthsAbove32Bits) {
  const KuvTest::GuardedBuffer<char> byte{1};
  *byte.Get() = 'k';
  static_cast<void>(CalculateHmac(byte.Get(), 0x900000001, byte.Get(), 0x900000001));
  EXPECT_EQ(crypto.blobSize, 13u);
  EXPECT_EQ(crypto.blob, (Bytes{0x08, 0x02, 0, 0, 0x02, 0x66, 0, 0, 1, 0, 0, 0, 'k'}));
  EXPECT_EQ(crypto.hashed, "k");
}

// With the header the length exceeds 32 bits: the key is neither read nor passed to the platform.
TEST_F(HmacCalls, DoNotReadAKeyWhoseBlobExceeds32Bits) {
  const KuvTest::GuardedBuffer<char> byte{1};
  static_cast<void>(CalculateHmac(byte.Get(), 0xFFFFFFF8, byte.Get(), 1));
  EXPECT_EQ(crypto.blobSize, 4u);
  EXPECT_EQ(crypto.blob, (Bytes{0x08, 0x02, 0, 0, 0x02, 0x66, 0, 0, 0xF8, 0xFF, 0xFF, 0xFF}));
}

TEST_F(HmacCalls, ReturnTheLengthOfTheSecondAnswer) {
  crypto.valueLength = 30;
  EXPECT_EQ(CalculateHmac(kKey, kData).size(), 9u);
}

class HmacFailure : public HmacCalls, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(HmacFailure, IsLoggedReturnsNothingAndReleasesEverything) {
  const std::size_t step = GetParam();
  crypto.Fail(static_cast<int>(step), 0x80090005);
  EXPECT_EQ(CalculateHmac(kKey, kData), Bytes{});
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Error, std::string{"System call '"} + kSteps[step - 1].second +
                                                         "' failed. {error: -2146893819}"}}));
  EXPECT_EQ(crypto.events, StepsAndReleases(step, /*lastFailed=*/true));
  if (step >= 3) ExpectWiped();
  ExpectNoSecretInTheLog();
}

INSTANTIATE_TEST_SUITE_P(OfEachStep, HmacFailure, ::testing::Range<std::size_t>(1, std::size(kSteps) + 1),
                         [](const auto& row) { return "Step" + std::to_string(row.param); });

}  // namespace
