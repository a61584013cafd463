#include "KuvAuth/ServiceClient/Encoders.h"

#include <bitset>
#include <new>
#include <random>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "HeapWatch.h"
#include "Support/GuardedBuffer.h"
#include "Support/LogCapture.h"

namespace {

namespace Util = Kuv::Util;
using KuvTest::AllocationCount;
using KuvTest::LogLines;

std::string Base64(const std::string& text) {
  return Util::Base64Encode(text.data(), text.size());
}

// Returns the status of the exception that the encoder throws for this length of a one-byte buffer; 0 if
// none.
template <typename Encoder>
unsigned long StatusOf(Encoder encode, std::uint64_t length) {
  const KuvTest::GuardedBuffer<std::uint8_t> byte{1};
  try {
    static_cast<void>(encode(byte.Get(), length));
  } catch (const CAtlException& exception) {
    EXPECT_EQ(static_cast<long>(exception), exception.m_hr);
    return static_cast<unsigned long>(exception.m_hr);
  }
  return 0;
}

// Returns the text for this length of a one-byte buffer that ends at unreadable memory.
template <typename Encoder>
std::string TextOf(Encoder encode, std::uint64_t length) {
  const KuvTest::GuardedBuffer<std::uint8_t> byte{1};
  *byte.Get() = 0xAB;
  return encode(byte.Get(), length);
}

// Returns the text size, with its NUL, that the encoder allocates before it reads anything.
template <typename Encoder>
std::uint64_t AllocatedSize(Encoder encode, std::uint64_t length) {
  const KuvTest::GuardedBuffer<std::uint8_t> byte{1};
  const AllocationCount allocations{/*largest=*/1 << 20};
  EXPECT_THROW(static_cast<void>(encode(byte.Get(), length)), std::bad_alloc);
  return allocations.Refused();
}

class Encoders : public ::testing::Test {
 protected:
  KuvTest::LogCapture log;
};

using Base64Encode = Encoders;
using AtlHexEncode = Encoders;
using BytesToHexString = Encoders;

// Every length around the encoders' block sizes, with unreadable memory after the input.
TEST_F(Encoders, MatchAReferenceAtEveryLength) {
  constexpr char base64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::minstd_rand random{20220717};
  for (std::size_t length = 1; length < 200; ++length) {
    SCOPED_TRACE(length);
    const KuvTest::GuardedBuffer<std::uint8_t> bytes{length};
    std::string bits;
    std::string hex;
    for (std::size_t i = 0; i < length; ++i) {
      bytes.Get()[i] = static_cast<std::uint8_t>(random() >> 8);
      bits += std::bitset<8>{bytes.Get()[i]}.to_string();
      hex += "0123456789ABCDEF"[bytes.Get()[i] / 16];
      hex += "0123456789ABCDEF"[bytes.Get()[i] % 16];
    }
    bits.resize((bits.size() + 5) / 6 * 6, '0');
    std::string text;
    for (std::size_t i = 0; i < bits.size(); i += 6) text += base64[std::stoi(bits.substr(i, 6), nullptr, 2)];
    text.resize((length + 2) / 3 * 4, '=');
    ASSERT_EQ(Util::Base64Encode(bytes.Get(), length), text);
    ASSERT_EQ(Util::AtlHexEncode(bytes.Get(), length), hex);
    ASSERT_EQ(Util::BytesToHexString(bytes.Get(), length), hex);
  }
}

TEST_F(Encoders, AllocateOnceAtEverySize) {
  for (const std::size_t size : {16, 64, 1024, 65536, 16777216}) {
    SCOPED_TRACE(size);
    const std::string text(size, 'x');
    const AllocationCount allocations;
    static_cast<void>(Util::Base64Encode(text.data(), size));
    EXPECT_EQ(allocations.Count(), 1u);
    static_cast<void>(Util::AtlHexEncode(text.data(), size));
    EXPECT_EQ(allocations.Count(), 2u);
    static_cast<void>(Util::BytesToHexString(text.data(), size));
    EXPECT_EQ(allocations.Count(), 3u);
    static_cast<void>(Util::PercentEncode(text));
    EXPECT_EQ(allocations.Count(), 4u);
  }
}

// RFC 4648, section 10, where the input has letters only.
TEST_F(Base64Encode, PadsAndNeverBreaksTheText) {
  const std::pair<std::string, std::string> rows[] = {
      {"", ""},
      {"f", "Zg=="},
      {"fo", "Zm8="},
      {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="},
      {"fooba", "Zm9vYmE="},
      {"foobar", "Zm9vYmFy"},
      {std::string(1, '\0'), "AA=="},
      {std::string(58, '\0'), std::string(78, 'A') + "=="},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(Base64(text), expected);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(Base64Encode, UsesTheWholeStandardAlphabet) {
  std::string groups;
  for (unsigned first = 0; first < 64; first += 4) {
    const unsigned group = first << 18 | (first + 1) << 12 | (first + 2) << 6 | (first + 3);
    groups += static_cast<char>(group >> 16);
    groups += static_cast<char>(group >> 8);
    groups += static_cast<char>(group);
  }
  EXPECT_EQ(Base64(groups), "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
}

TEST_F(Encoders, ReturnNothingWithoutALineForNullOrNoBytes) {
  EXPECT_EQ(Util::Base64Encode(nullptr, 5), "");
  EXPECT_EQ(Util::Base64Encode("x", 0), "");
  EXPECT_EQ(Util::Base64Encode(nullptr, 0), "");
  EXPECT_EQ(Util::AtlHexEncode(nullptr, 5), "");
  EXPECT_EQ(Util::AtlHexEncode("x", 0), "");
  // The low half of this length is 0.
  EXPECT_EQ(TextOf(Util::AtlHexEncode, 0x100000000), "");
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(Encoders, UseOnlyTheLowHalfOfTheLength) {
  EXPECT_EQ(TextOf(Util::Base64Encode, 0x700000001), "qw==");
  EXPECT_EQ(TextOf(Util::AtlHexEncode, 0x700000001), "AB");
}

TEST_F(Encoders, ThrowForATextOfMoreThan31BitsAndAcceptTheLongestBelow) {
  for (const std::uint64_t length :
       {0x20000000ull, 0x20000001ull, 0x40000000ull, 0x7FFFFFFFull, 0x120000000ull, 0xFFFFFFFF7FFFFFFFull}) {
    SCOPED_TRACE(length);
    EXPECT_EQ(StatusOf(Util::Base64Encode, length), 0x80004005ul);
  }
  EXPECT_EQ(AllocatedSize(Util::Base64Encode, 0x1FFFFFFF), 715827884u + 1);
  for (const std::uint64_t length :
       {0x40000000ull, 0x7FFFFFFFull, 0x80000000ull, 0xBFFFFFFFull, 0x140000000ull, 0xFFFFFFFFBFFFFFFFull}) {
    SCOPED_TRACE(length);
    EXPECT_EQ(StatusOf(Util::AtlHexEncode, length), 0x80004005ul);
  }
  EXPECT_EQ(AllocatedSize(Util::AtlHexEncode, 0x3FFFFFFF), 0x7FFFFFFEu + 1);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(Base64Encode, LengthWhoseLowHalfIsZeroOrNegativeIsLogged) {
  for (const std::uint64_t length :
       {0x80000000ull, 0xC0000000ull, 0xFFFFFFFEull, 0xFFFFFFFFull, 0x100000000ull, 0xFFFFFFFFFFFFFFFFull}) {
    SCOPED_TRACE(length);
    log.Clear();
    EXPECT_EQ(TextOf(Util::Base64Encode, length), "");
    EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Error, "Base64Encode failed"}}));
  }
}

TEST_F(AtlHexEncode, WritesTwoUpperCaseDigitsForEachByte) {
  EXPECT_EQ(Util::AtlHexEncode("\xAB\x01", 2), "AB01");
  EXPECT_EQ(Util::AtlHexEncode("\x00\x0A\xF0\xFF", 4), "000AF0FF");
  // RFC 4648, section 10.
  EXPECT_EQ(Util::AtlHexEncode("f", 1), "66");
  EXPECT_EQ(Util::AtlHexEncode("foobar", 6), "666F6F626172");
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(AtlHexEncode, EncodesEveryByteValue) {
  std::string bytes;
  std::string expected;
  for (int byte = 0; byte < 256; ++byte) {
    bytes += static_cast<char>(byte);
    expected += "0123456789ABCDEF"[byte / 16];
    expected += "0123456789ABCDEF"[byte % 16];
  }
  EXPECT_EQ(Util::AtlHexEncode(bytes.data(), bytes.size()), expected);
  EXPECT_EQ(Util::BytesToHexString(bytes.data(), bytes.size()), expected);
}

TEST_F(AtlHexEncode, SmallNegativeLengthIsLogged) {
  for (const std::uint64_t length : {0xC0000000ull, 0xFFFFFFFFull, 0x5C0000000ull, 0xFFFFFFFFFFFFFFFFull}) {
    SCOPED_TRACE(length);
    log.Clear();
    EXPECT_EQ(TextOf(Util::AtlHexEncode, length), "");
    EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Error, "AtlHexEncode failed"}}));
  }
}

TEST_F(BytesToHexString, WritesTwoUpperCaseDigitsForEachByte) {
  EXPECT_EQ(Util::BytesToHexString("\x0A", 1), "0A");
  EXPECT_EQ(Util::BytesToHexString("\xAB\x00\xFF", 3), "AB00FF");
  EXPECT_EQ(Util::BytesToHexString(nullptr, 0), "");
  EXPECT_EQ(Util::BytesToHexString("x", 0), "");
}

// Lengths that `AtlHexEncode` rejects or truncates; on 32 bits no string is that long.
#if defined(_WIN64)
TEST_F(BytesToHexString, HasNoLimitBelowThatOfAString) {
  EXPECT_EQ(AllocatedSize(Util::BytesToHexString, 0x40000000), std::uint64_t{0x80000000} + 1);
  EXPECT_EQ(AllocatedSize(Util::BytesToHexString, 0xC0000000), std::uint64_t{0x180000000} + 1);
  EXPECT_EQ(AllocatedSize(Util::BytesToHexString, 0x700000001), std::uint64_t{0xE00000002} + 1);
  EXPECT_EQ(log.Lines(), LogLines{});
}
#endif

TEST_F(BytesToHexString, LengthAboveTheMaximumOfAStringThrows) {
  for (const std::uint64_t length : {0x7FFFFFFFFFFFFFFFull, 0x8000000000000000ull, 0x8000000000000001ull}) {
    SCOPED_TRACE(length);
    EXPECT_THROW(static_cast<void>(Util::BytesToHexString("x", length)), std::length_error);
  }
}

}  // namespace
