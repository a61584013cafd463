#include "KuvAuth/ServiceClient/Hashing.h"

#include <gtest/gtest.h>

#include "HashVectors.h"
#include "Support/GuardedBuffer.h"
#include "Support/LogCapture.h"
#include "Support/Together.h"
#include "Support/Wine.h"

// With the platform's CryptoAPI. It finds its providers below HKEY_LOCAL_MACHINE, so no test here redirects
// the registry.
namespace {

using Kuv::Util::CalculateHmac;
using Kuv::Util::CryptoHash;
using KuvTest::Hex;
using KuvTest::LogLines;
using KuvTest::Together;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kSha1 = 0x8004;
constexpr std::uint32_t kSha512 = 0x800E;

std::string CountingKey() {
  std::string key;
  for (int byte = 1; byte <= 25; ++byte) key += static_cast<char>(byte);
  return key;
}

TEST(CalculateHmac, PassesTheCasesOfRfc2202) {
  const struct {
    int number;
    std::string key;
    std::string data;
    const char* digest;
  } cases[] = {
      {1, std::string(20, '\x0b'), "Hi There", "b617318655057264e28bc0b6fb378c8ef146be00"},
      {2, "Jefe", "what do ya want for nothing?", "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79"},
      {3, std::string(20, '\xaa'), std::string(50, '\xdd'), "125d7342b9ac11cd91a39af48aa17b4f63f175d3"},
      {4, CountingKey(), std::string(50, '\xcd'), "4c9007f4026250c6bc8414f9bf50c86c2d7235da"},
      {5, std::string(20, '\x0c'), "Test With Truncation", "4c1a03424b55e07fe7f27be1d58bb9324a9a5a04"},
      {6, std::string(80, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First",
       "aa4ae5e15272d00e95705637ce8a3b55ed402112"},
      {7, std::string(80, '\xaa'),
       "Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data",
       "e8e99d0f45237d786d6bbaa7965c7808bbff1a91"},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.number);
    EXPECT_EQ(Hex(CalculateHmac(row.key, row.data)), row.digest);
  }
}

TEST(CalculateHmac, OfNoDataIsTheHmacOfTheEmptyMessage) {
  const KuvTest::LogCapture log;
  // Python: hmac.new(b"key", b"", "sha1")
  EXPECT_EQ(Hex(CalculateHmac("key", "")), "f42bb0eeb018ebbd4597ae7213711ec60760843f");
  EXPECT_EQ(Hex(CalculateHmac("key", 3, "x", 0)), "f42bb0eeb018ebbd4597ae7213711ec60760843f");
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST(CalculateHmac, OfAnEmptyKeyFollowsTheStandard) {
  if (KuvTest::RunsUnderWine()) GTEST_SKIP() << "Wine's CryptoAPI returns another value for an empty key";
  // Python: hmac.new(b"", b"", "sha1")
  EXPECT_EQ(Hex(CalculateHmac("", "")), "fbdb1d1b18aa6c08324b7d64b71fb76370690e1d");
}

TEST(CalculateHmac, NullKeyOrDataReturnsNothingWithoutALine) {
  const KuvTest::LogCapture log;
  EXPECT_EQ(CalculateHmac(nullptr, 3, "data", 4), Bytes{});
  EXPECT_EQ(CalculateHmac("key", 3, nullptr, 4), Bytes{});
  EXPECT_EQ(CalculateHmac(nullptr, 0, nullptr, 0), Bytes{});
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST(CalculateHmac, SuccessLogsNothing) {
  const KuvTest::LogCapture log;
  EXPECT_EQ(CalculateHmac("key", "data").size(), 20u);
  EXPECT_EQ(CryptoHash("data", kSha512).size(), 64u);
  EXPECT_EQ(log.Lines(), LogLines{});
}

// Key and data end at unreadable memory.
TEST(CalculateHmac, ReadsNoFurtherThanTheLowHalvesOfTheLengths) {
  const auto key = KuvTest::GuardedBuffer<char>::Text("ke", 2);
  const auto data = KuvTest::GuardedBuffer<char>::Text("dat", 3);
  key.Get()[2] = 'y';
  data.Get()[3] = 'a';
  const Bytes expected = CalculateHmac("key", "data");
  EXPECT_EQ(CalculateHmac(key.Get(), 3, data.Get(), 4), expected);
  EXPECT_EQ(CalculateHmac(key.Get(), 0x500000003, data.Get(), 0x500000004), expected);
}

TEST(CalculateHmac, AcceptsEmbeddedZeroBytes) {
  // Python: hmac.new(b"k\0y", b"d\0ta", "sha1")
  EXPECT_EQ(Hex(CalculateHmac(std::string("k\0y", 3), std::string("d\0ta", 4))),
            "4924b0f0453a70a028e2bef69d2ea6be510fe700");
}

TEST(CalculateHmac, CanBeCalledFromSeveralThreadsAtOnce) {
  const Bytes expected = CalculateHmac("key", "data");
  std::vector<int> wrong(4);
  Together(4, [&](int thread) {
    for (int i = 0; i < 50; ++i) {
      wrong[static_cast<std::size_t>(thread)] += CalculateHmac("key", "data") == expected ? 0 : 1;
    }
  });
  EXPECT_EQ(wrong, std::vector<int>(4, 0));
}

TEST(CryptoHash, PassesTheExamplesOfFips180) {
  const struct {
    const char* name;
    std::string text;
    const char* digest;
  } rows[] = {
      {"empty text", "",
       "cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce"
       "47d0d13c5d85f2b0ff8318d2877eec2f63b931bd47417a81a538327af927da3e"},
      {"one block", "abc",
       "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
       "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f"},
      {"two blocks",
       "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmn"
       "hijklmnoijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu",
       "8e959b75dae313da8cf4f72814fc143f8f7779c6eb9f7fa17299aeadb6889018"
       "501d289e4900f7e4331b99dec4b5433ac7d329eeb6dd26545e96e55b874be909"},
      {"a million times a", std::string(1000000, 'a'),
       "e718483d0ce769644e2e42c7bc15b4638e1f98b13b2044285632a803afa973eb"
       "de0ff244877ea60a4cb0432ce577c31beb009c5c2c49aa2e4eadb217ad8cc09b"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Hex(CryptoHash(row.text, kSha512)), row.digest);
  }
}

TEST(CryptoHash, UsesTheCallersAlgorithm) {
  EXPECT_EQ(Hex(CryptoHash("abc", kSha1)), "a9993e364706816aba3e25717850c26c9cd0d89d");
}

TEST(CryptoHash, UnknownAlgorithmReturnsNothingAndIsLogged) {
  const KuvTest::LogCapture log;
  EXPECT_EQ(CryptoHash("abc", 0x12345), Bytes{});
  // NTE_BAD_ALGID
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Error,
                                    "System call 'CryptoHash::CryptCreateHash' failed. "
                                    "{error: -2146893816}"}}));
}

}  // namespace
