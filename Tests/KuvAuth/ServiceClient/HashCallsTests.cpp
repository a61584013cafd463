#include <gtest/gtest.h>

#include "CryptoApiScript.h"
#include "HeapWatch.h"
#include "KuvAuth/ServiceClient/Hashing.h"
#include "Support/GuardedBuffer.h"
#include "Support/LogCapture.h"

namespace {

using Kuv::Util::CalculateHmac;
using Kuv::Util::CryptoHash;
using KuvTest::LogLines;
using Bytes = std::vector<std::uint8_t>;
using Events = std::vector<std::string>;

// A step that can fail, its name in the log, and the event that releases what it creates, if any.
struct Step {
  const char* call;
  const char* name;
  const char* release = nullptr;
};

// The steps in order. The unusual punctuation of their names is required.
const std::vector<Step> kHmacSteps = {
    {"acquire 1", "Kuv::Util::CalculateHmac CryptAcquireContext", "release 101"},
    {"create hash 8004 with key 0", "Kuv::Util::CalculateHmac CryptCreateHash (1)", "destroy hash 201"},
    {"import key", "Kuv::Util::CalculateHmac CryptImportKey", "destroy key 301"},
    {"create hash 8009 with key 301", "Kuv::Util::CalculateHmac CryptCreateHash (2)", "destroy hash 202"},
    {"set HMAC info of 202", "Kuv::Util::CalculateHmac CryptSetHashParam (HP_HMAC_INFO)"},
    {"hash data with 202", "Kuv::Util::CalculateHmac CryptHashData (Hashing data)"},
    {"get length of 202", "Kuv::Util::CalculateHmac CryptSetHashParam (Hash Length)"},
    {"get value of 202", "Kuv::Util::CalculateHmac CryptGetHashParam (Hash Result)"},
};
const std::vector<Step> kHashSteps = {
    {"acquire 24", "CryptoHash:CryptAcquireContext", "release 101"},
    {"create hash 800E with key 0", "CryptoHash::CryptCreateHash", "destroy hash 201"},
    {"hash data with 201", "CryptoHash:CryptHashData"},
    {"get length of 201", "CryptoHash:CryptGetHashParam() Hash Size)"},
    {"get value of 201", "CryptoHash:CryptGetHashParam(HP_HASHVAL)"},
};

// The first `count` steps and the releases of what they created; the blob is freed before the provider.
Events StepsAndReleases(const std::vector<Step>& steps, std::size_t count, bool lastFailed) {
  Events events;
  for (std::size_t step = 0; step < count; ++step) events.push_back(steps[step].call);
  for (std::size_t step = lastFailed ? count - 1 : count; step > 1; --step) {
    if (steps[step - 1].release != nullptr) events.push_back(steps[step - 1].release);
  }
  if (&steps == &kHmacSteps && count >= 3) events.push_back("free blob");
  if (!lastFailed || count > 1) events.push_back(steps[0].release);
  return events;
}

class HashCalls : public ::testing::Test {
 protected:
  HashCalls() {
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

  void ExpectBlob(DWORD size, const Bytes& blob) const {
    EXPECT_EQ(crypto.blobSize, size);
    EXPECT_EQ(crypto.blob, blob);
  }

  void ExpectWiped() const { EXPECT_EQ(freedBlob, Bytes(crypto.blob.size(), 0)); }

  const Bytes kValue{'t', 'h', 'e', '-', 'v', 'a', 'l', 'u', 'e'};
  KuvTest::LogCapture log;
  KuvTest::CryptoApiScript crypto;
  KUV_IMPORT_HOOK(importKey, CryptImportKey);
  Bytes freedBlob{1};
};

using HmacCalls = HashCalls;
using CryptoHashCalls = HashCalls;

TEST_F(HmacCalls, RunInOrderAndReleaseEverythingInOrder) {
  EXPECT_EQ(CalculateHmac("a-secret-key", "some-data"), kValue);
  EXPECT_EQ(crypto.events, StepsAndReleases(kHmacSteps, 8, /*lastFailed=*/false));
  EXPECT_EQ(crypto.hashed, "some-data");
  EXPECT_EQ(log.Lines(), LogLines{});
  ExpectWiped();
}

TEST_F(HmacCalls, ImportTheKeyInItsBlob) {
  static_cast<void>(CalculateHmac("\x01\xFF\x03", 3, "x", 1));
  ExpectBlob(15, {0x08, 0x02, 0, 0, 0x02, 0x66, 0, 0, 3, 0, 0, 0, 0x01, 0xFF, 0x03});
}

TEST_F(HmacCalls, ImportAnEmptyKeyAsAHeaderOnly) {
  static_cast<void>(CalculateHmac("x", 0, "x", 1));
  ExpectBlob(12, {0x08, 0x02, 0, 0, 0x02, 0x66, 0, 0, 0, 0, 0, 0});
}

TEST_F(HmacCalls, DoNotRunForANullKeyOrNullData) {
  EXPECT_EQ(CalculateHmac(nullptr, 3, "data", 4), Bytes{});
  EXPECT_EQ(CalculateHmac("key", 3, nullptr, 4), Bytes{});
  EXPECT_EQ(CalculateHmac(nullptr, 0, nullptr, 0), Bytes{});
  EXPECT_EQ(crypto.events, Events{});
}

TEST_F(HmacCalls, HashNoDataToo) {
  EXPECT_EQ(CalculateHmac("key", 3, "x", 0).size(), 9u);
  EXPECT_EQ(crypto.hashed, "");
}

TEST_F(HmacCalls, FoldLengthsAbove32Bits) {
  const KuvTest::GuardedBuffer<char> byte{1};
  *byte.Get() = 'k';
  static_cast<void>(CalculateHmac(byte.Get(), 0x900000001, byte.Get(), 0x900000001));
  ExpectBlob(13, {0x08, 0x02, 0, 0, 0x02, 0x66, 0, 0, 1, 0, 0, 0, 'k'});
  EXPECT_EQ(crypto.hashed, "k");
}

// With the header the length exceeds 32 bits: the key is neither read nor passed to the platform.
TEST_F(HmacCalls, DoNotReadAKeyWhoseBlobExceeds32Bits) {
  const KuvTest::GuardedBuffer<char> byte{1};
  static_cast<void>(CalculateHmac(byte.Get(), 0xFFFFFFF8, byte.Get(), 1));
  ExpectBlob(4, {0x08, 0x02, 0, 0, 0x02, 0x66, 0, 0, 0xF8, 0xFF, 0xFF, 0xFF});
}

TEST_F(CryptoHashCalls, RunInOrderAndReleaseEverythingInOrder) {
  EXPECT_EQ(CryptoHash(std::string("te\0xt", 5), 0x800E), kValue);
  EXPECT_EQ(crypto.events, StepsAndReleases(kHashSteps, 5, /*lastFailed=*/false));
  EXPECT_EQ(crypto.hashed, std::string("te\0xt", 5));
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(CryptoHashCalls, UseTheGivenAlgorithmAndHashTheEmptyText) {
  EXPECT_EQ(CryptoHash("", 0x8004).size(), 9u);
  EXPECT_EQ(crypto.events[1], "create hash 8004 with key 0");
  EXPECT_EQ(crypto.events[2], "hash data with 201");
  EXPECT_EQ(crypto.hashed, "");
}

TEST_F(HashCalls, ReturnTheLengthOfTheSecondAnswer) {
  crypto.valueLength = 30;
  EXPECT_EQ(CalculateHmac("a-secret-key", "some-data").size(), 9u);
  crypto.valueLength = 64;
  EXPECT_EQ(CryptoHash("x", 0x800E).size(), 9u);
}

struct Failure {
  const char* operation;
  const std::vector<Step>& steps;
  std::size_t step;
  DWORD code;
  const char* number;  // the code in the log
};

void PrintTo(const Failure& row, std::ostream* out) {
  *out << row.operation << ", step " << row.step;
}

class HashFailure : public HashCalls, public ::testing::WithParamInterface<Failure> {};

TEST_P(HashFailure, IsLoggedReturnsNothingAndReleasesEverything) {
  const auto& [operation, steps, step, code, number] = GetParam();
  const bool isHmac = &steps == &kHmacSteps;
  crypto.Fail(static_cast<int>(step), code);
  EXPECT_EQ(isHmac ? CalculateHmac("a-secret-key", "some-data") : CryptoHash("some-data", 0x800E), Bytes{});
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Error, std::string{"System call '"} + steps[step - 1].name +
                                                         "' failed. {error: " + number + "}"}}));
  EXPECT_EQ(crypto.events, StepsAndReleases(steps, step, /*lastFailed=*/true));
  if (isHmac && step >= 3) ExpectWiped();
  for (const char* secret :
       {"a-secret-key", "some-data", "the-value", "7468652D76616C7565", "7468652d76616c7565"}) {
    EXPECT_FALSE(log.Contains(secret)) << secret;
  }
}

std::vector<Failure> EachFailure() {
  std::vector<Failure> failures;
  for (std::size_t step = 1; step <= 8; ++step)
    failures.push_back({"Hmac", kHmacSteps, step, 0x80090005, "-2146893819"});
  for (std::size_t step = 1; step <= 5; ++step)
    failures.push_back({"CryptoHash", kHashSteps, step, 1234, "1234"});
  return failures;
}

INSTANTIATE_TEST_SUITE_P(OfEachStep, HashFailure, ::testing::ValuesIn(EachFailure()), [](const auto& row) {
  return row.param.operation + ("Step" + std::to_string(row.param.step));
});

}  // namespace
