#include <string>

#include <gtest/gtest.h>

#include "HeapWatch.h"
#include "KuvAuth/ServiceClient/Encoders.h"
#include "Support/LogCapture.h"

namespace {

using Kuv::Util::PercentEncode;

TEST(PercentEncode, EscapesEachByteThatIsNotUnreserved) {
  const KuvTest::LogCapture log;
  const std::pair<std::string, const char*> rows[] = {
      {"", ""},        {"a b/c~d", "a%20b%2Fc~d"},    {" +", "%20%2B"},
      {"\xE2", "%E2"}, {"\xE2\x82\xAC", "%E2%82%AC"}, {std::string("a\0b", 3), "a%00b"},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(PercentEncode(text), expected);
  EXPECT_EQ(log.Lines(), KuvTest::LogLines{});
}

TEST(PercentEncode, Keeps66CharactersAndEscapesAllOthers) {
  const std::string kept = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  ASSERT_EQ(kept.size(), 66u);
  for (int byte = 0; byte < 256; ++byte) {
    SCOPED_TRACE(byte);
    const std::string text(1, static_cast<char>(byte));
    const std::string escape = {'%', "0123456789ABCDEF"[byte / 16], "0123456789ABCDEF"[byte % 16]};
    EXPECT_EQ(PercentEncode(text), kept.find(text) != std::string::npos ? text : escape);
  }
}

TEST(PercentEncode, ReservesThreeTimesTheInputAndAllocatesOnce) {
  for (const char unit : {'x', ' '}) {
    for (const std::size_t size : {16, 1000, 65536}) {
      SCOPED_TRACE(::testing::Message() << size << " times '" << unit << "'");
      const std::string text(size, unit);
      const KuvTest::AllocationCount allocations;
      const std::string encoded = PercentEncode(text);
      EXPECT_EQ(allocations.Count(), 1u);
      EXPECT_GE(encoded.capacity(), 3 * size);
      EXPECT_EQ(encoded.size(), unit == 'x' ? size : 3 * size);
    }
  }
}

// Runs of every length of kept and of escaped characters, across the blocks of the implementation.
TEST(PercentEncode, MatchesAReferenceAtEveryLength) {
  for (std::size_t length = 0; length < 600; ++length) {
    SCOPED_TRACE(length);
    std::string text;
    std::string expected;
    for (std::size_t i = 0; i < length; ++i) {
      const bool stays = i % (length / 7 + 2) != 1;
      text += stays ? 'a' : '/';
      expected += stays ? "a" : "%2F";
    }
    ASSERT_EQ(PercentEncode(text), expected);
  }
}

}  // namespace
