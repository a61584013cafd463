#include "KuvAuth/ServiceClient/Base64Core.h"

#include <string>

#include <gtest/gtest.h>

#include "Support/GuardedBuffer.h"

namespace {

using Kuv::Util::Base64Size;
using Kuv::Util::EncodeBase64;

constexpr std::uint32_t kNoPadding = 1;
constexpr std::uint32_t kNoBreaks = 2;

// Encodes into a buffer of exactly the text's size.
std::string Encode(const std::string& source, std::uint32_t options) {
  const auto length = static_cast<std::int32_t>(source.size());
  auto size = static_cast<std::int32_t>(Base64Size(length, options));
  const KuvTest::GuardedBuffer<char> destination{static_cast<std::size_t>(size)};
  EXPECT_TRUE(EncodeBase64(source.data(), length, destination.Get(), &size, options));
  EXPECT_EQ(size, Base64Size(length, options)) << "the size is exact";
  return {destination.Get(), static_cast<std::size_t>(size)};
}

std::string EncodeZeros(std::size_t length, std::uint32_t options) {
  return Encode(std::string(length, '\0'), options);
}

TEST(Base64Core, RejectsNullArgumentsAndATooSmallBuffer) {
  char text[4] = {};
  std::int32_t size = 4;
  EXPECT_FALSE(EncodeBase64(nullptr, 1, text, &size, kNoBreaks));
  EXPECT_FALSE(EncodeBase64("x", 1, nullptr, &size, kNoBreaks));
  EXPECT_FALSE(EncodeBase64("x", 1, text, nullptr, kNoBreaks));
  EXPECT_EQ(size, 4);
  size = 3;
  EXPECT_FALSE(EncodeBase64("x", 1, text, &size, kNoBreaks));
  EXPECT_EQ(size, 3);
  EXPECT_EQ(text[0], '\0');
}

TEST(Base64Core, ReturnsTheSizeWritten) {
  char text[9] = "........";
  std::int32_t size = 8;
  EXPECT_TRUE(EncodeBase64("foo", 3, text, &size, kNoBreaks));
  EXPECT_EQ(size, 4);
  EXPECT_STREQ(text, "Zm9v....");
}

TEST(Base64Core, SizeIsFourForEachStartedGroup) {
  for (std::int32_t length = 0; length < 300; ++length) {
    SCOPED_TRACE(length);
    EXPECT_EQ(Base64Size(length, kNoBreaks), (length + 2) / 3 * 4);
  }
  EXPECT_EQ(Base64Size(536870911, kNoBreaks), 715827884);
  EXPECT_EQ(Base64Size(-1, kNoBreaks), 0);
}

TEST(Base64Core, NoPaddingOmitsTheEqualSigns) {
  EXPECT_EQ(EncodeZeros(1, kNoBreaks | kNoPadding), "AA");
  EXPECT_EQ(EncodeZeros(2, kNoBreaks | kNoPadding), "AAA");
  EXPECT_EQ(EncodeZeros(3, kNoBreaks | kNoPadding), "AAAA");
  EXPECT_EQ(EncodeZeros(4, kNoPadding), "AAAAAA");
}

TEST(Base64Core, BreaksLinesAfter19GroupsButNotAtTheEnd) {
  const std::string line(76, 'A');
  EXPECT_EQ(EncodeZeros(54, 0), std::string(72, 'A'));
  EXPECT_EQ(EncodeZeros(57, 0), line);
  EXPECT_EQ(EncodeZeros(58, 0), line + "\r\nAA==");
  EXPECT_EQ(EncodeZeros(114, 0), line + "\r\n" + line);
  EXPECT_EQ(EncodeZeros(117, 0), line + "\r\n" + line + "\r\nAAAA");
  EXPECT_EQ(EncodeZeros(58, kNoPadding), line + "\r\nAA");
}

TEST(Base64Core, LinesTogetherAreTheTextWithoutBreaks) {
  std::string source;
  for (int i = 0; i < 200; ++i) source.push_back(static_cast<char>(i));
  std::string text = Encode(source, kNoBreaks);
  for (const std::size_t end : {76u, 154u, 232u}) text.insert(end, "\r\n");
  EXPECT_EQ(Encode(source, 0), text);
}

}  // namespace
