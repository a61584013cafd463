#include <array>
#include <cstring>
#include <span>
#include <string_view>

#include <gtest/gtest.h>

#include "HeapWatch.h"
#include "KuvAuth/ServiceClient/KuvAuthUtil.h"
#include "Support/GuardedBuffer.h"
#include "Support/LogCapture.h"

namespace {

using namespace Kuv::Util;
using namespace std::string_view_literals;
using KuvTest::GuardedBuffer;
using Bytes = std::span<const std::byte>;

constexpr std::uint32_t kSha512 = 0x800E;

Bytes BytesOf(std::string_view text) {
  return std::as_bytes(std::span{text});
}

// The calls with texts that compiled before there were views.
TEST(Views, LeaveCallsWithTextsAsTheyAre) {
  const std::string text = "a b";
  EXPECT_EQ(PercentEncode("a b"), "a%20b");
  EXPECT_EQ(PercentEncode(text), "a%20b");
  EXPECT_EQ(PercentEncode({}), "");
  EXPECT_EQ(CalculateHmac("a b", text), CalculateHmac(text, "a b"));
  EXPECT_EQ(CalculateHmac("a b", "a b"), CalculateHmac({text}, {text}));
  EXPECT_EQ(CryptoHash("a b", kSha512), CryptoHash(text, kSha512));
  EXPECT_EQ(CryptoHash({}, kSha512), CryptoHash("", kSha512));
}

TEST(Views, HaveTheResultsOfTexts) {
  for (const std::string& text :
       {std::string{}, std::string{"x"}, std::string("a\0b", 3), std::string(5000, '/')}) {
    const std::string_view view = text;
    EXPECT_EQ(PercentEncode(view), PercentEncode(text));
    EXPECT_EQ(PercentEncode(BytesOf(text)), PercentEncode(text));
    EXPECT_EQ(PercentEncode(text.data(), text.size()), PercentEncode(text));
    EXPECT_EQ(CryptoHash(view, kSha512), CryptoHash(text, kSha512));
    EXPECT_EQ(CryptoHash(BytesOf(text), kSha512), CryptoHash(text, kSha512));
    EXPECT_EQ(CryptoHash(text.data(), text.size(), kSha512), CryptoHash(text, kSha512));
    const std::string key = "key";
    EXPECT_EQ(CalculateHmac("key"sv, view), CalculateHmac(key, text));
    EXPECT_EQ(CalculateHmac(BytesOf(key), BytesOf(text)), CalculateHmac(key, text));
    EXPECT_EQ(CalculateHmac("key", view), CalculateHmac(key, text));
    EXPECT_EQ(CalculateHmac(key, view), CalculateHmac(key, text));
    EXPECT_EQ(CalculateHmac("key"sv, text), CalculateHmac(key, text));
    EXPECT_EQ(CalculateHmac(BytesOf(key), view), CalculateHmac(key, text));
  }
  const std::array<std::byte, 2> bytes{std::byte{0xE2}, std::byte{' '}};
  EXPECT_EQ(PercentEncode(bytes), "%E2%20");
}

TEST(Views, AcceptEmptyOnesWithoutMemory) {
  EXPECT_EQ(PercentEncode(std::string_view{}), "");
  EXPECT_EQ(PercentEncode(Bytes{}), "");
  EXPECT_EQ(CryptoHash(std::string_view{}, kSha512), CryptoHash(std::string{}, kSha512));
  EXPECT_EQ(CryptoHash(Bytes{}, kSha512), CryptoHash(std::string{}, kSha512));
  EXPECT_EQ(CalculateHmac("key"sv, std::string_view{}), CalculateHmac("key", ""));
}

TEST(Views, ReturnNothingForANullPointer) {
  const KuvTest::LogCapture log;
  EXPECT_EQ(PercentEncode(nullptr, 5), "");
  EXPECT_TRUE(CryptoHash(nullptr, 5, kSha512).empty());
  EXPECT_EQ(log.Lines(), KuvTest::LogLines{});
}

TEST(Views, ReadNothingBehindTheirEnd) {
  const GuardedBuffer<char> memory{3};
  std::memcpy(memory.Get(), "a/b", 3);
  const std::string_view view{memory.Get(), 3};
  EXPECT_EQ(PercentEncode(view), "a%2Fb");
  EXPECT_EQ(CryptoHash(view, kSha512), CryptoHash("a/b", kSha512));
  EXPECT_EQ(CalculateHmac(view, view), CalculateHmac("a/b", "a/b"));
}

TEST(Views, AreNotCopied) {
  const std::string text(100000, 'x');
  const std::string_view view = text;
  // A copy would need a block of this size.
  const KuvTest::AllocationCount allocations{text.size() / 2};
  EXPECT_EQ(CryptoHash(view, kSha512).size(), 64u);
  EXPECT_EQ(allocations.Refused(), 0u);
}

}  // namespace
