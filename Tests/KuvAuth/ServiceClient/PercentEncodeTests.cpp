#include <string>

#include <gtest/gtest.h>

#include "HeapWatch.h"
#include "KuvAuth/ServiceClient/Encoders.h"
#include "Support/LogCapture.h"

namespace {

using Kuv::Util::PercentEncode;

TEST(PercentEncode, EscapesAllButTheUnreserved) {
  EXPECT_EQ(PercentEncode("a b/c~d"), "a%20b%2Fc~d");
}

TEST(PercentEncode, EscapesABlankAsAByteAndKeepsNoPlus) {
  EXPECT_EQ(PercentEncode(" +"), "%20%2B");
}

TEST(PercentEncode, EscapesEachByteOfASequence) {
  EXPECT_EQ(PercentEncode("\xE2"), "%E2");
  EXPECT_EQ(PercentEncode("\xE2\x82\xAC"), "%E2%82%AC");
}

TEST(PercentEncode, TakesAZeroByteLikeAnyOther) {
  EXPECT_EQ(PercentEncode(std::string("a\0b", 3)), "a%00b");
}

TEST(PercentEncode, OfNothingIsNothing) {
  EXPECT_EQ(PercentEncode(""), "");
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

TEST(PercentEncode, ReservesThreeTimesTheInputAtTheStart) {
  const std::string text(1000, 'x');
  const KuvTest::AllocationCount allocations;
  const std::string encoded = PercentEncode(text);
  EXPECT_EQ(allocations.Count(), 1u);
  EXPECT_GE(encoded.capacity(), 3000u);
}

TEST(PercentEncode, OfTheWorstCaseAllocatesOnce) {
  for (const std::size_t size : {16, 1000, 65536}) {
    SCOPED_TRACE(size);
    const std::string text(size, ' ');
    const KuvTest::AllocationCount allocations;
    const std::string encoded = PercentEncode(text);
    EXPECT_EQ(allocations.Count(), 1u);
    EXPECT_EQ(encoded.size(), 3 * size);
  }
}

// Runs of every length of what stays and of what is escaped, across the blocks and pieces of the work.
TEST(PercentEncode, AgreesWithThePlainWayAtEveryLength) {
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

TEST(PercentEncode, LogsNothing) {
  const KuvTest::LogCapture log;
  static_cast<void>(PercentEncode("a b"));
  EXPECT_EQ(log.Lines(), KuvTest::LogLines{});
}

}  // namespace
