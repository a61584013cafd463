#include "KuvAuth/Logging/AsciiRun.h"

#include <string>

#include <gtest/gtest.h>

#include "Support/GuardedBuffer.h"

namespace {

constexpr std::size_t kMost = 20;

constexpr auto kCopyRun = [](auto... arguments) { return Kuv::CopyAsciiRun(arguments...); };
constexpr auto kCopyBlocks = [](auto... arguments) { return Kuv::CopyAsciiBlocks(arguments...); };

// Copies `count` units of a text, with no readable memory after it. Returns the units that were written and
// those after them.
template <typename To, typename From, typename Copy>
std::basic_string<To> Copied(const std::basic_string<From>& text, std::size_t count, Copy copy) {
  const KuvTest::GuardedBuffer<From> source{text.size()};
  text.copy(source.Get(), text.size());
  std::basic_string<To> destination(2 * kMost, To{'#'});
  const std::size_t copied = copy(destination.data(), source.Get(), count);
  EXPECT_EQ(destination.find(To{'#'}), copied);
  return destination;
}

template <typename To, typename From, typename Copy>
void ExpectLimits(Copy copy) {
  const auto filled = [](std::size_t count) {
    return std::basic_string<To>(count, To{'a'}) + std::basic_string<To>(2 * kMost - count, To{'#'});
  };
  for (std::size_t count = 0; count <= kMost; ++count) {
    SCOPED_TRACE(count);
    const std::basic_string<From> run(count, From{'a'});
    EXPECT_EQ((Copied<To, From>(run, count, copy)), filled(count));
    const std::basic_string<From> longer(kMost, From{'a'});
    EXPECT_EQ((Copied<To, From>(longer, count, copy)), filled(count));
    for (const int end : {0x00, 0x80, 0xFF}) {
      const std::basic_string<From> ended = run + static_cast<From>(end) + longer;
      EXPECT_EQ((Copied<To, From>(ended, kMost, copy)), filled(count)) << end;
    }
  }
}

TEST(CopyAsciiRun, CopiesUpToTheCountOrTheFirstOtherUnit) {
  ExpectLimits<wchar_t, char>(kCopyRun);
  ExpectLimits<char, wchar_t>(kCopyRun);
}

TEST(CopyAsciiBlocks, CopiesUpToTheCountOrTheFirstOtherUnit) {
  ExpectLimits<wchar_t, char>(kCopyBlocks);
}

// Only the blocks of eight units may be read beyond such a unit.
TEST(CopyAsciiRun, ReadsNothingAfterTheUnitThatEndsTheRun) {
  for (std::size_t count = 0; count <= kMost; ++count) {
    SCOPED_TRACE(count);
    const std::string ended = std::string(count, 'a') + '\0';
    EXPECT_EQ((Copied<wchar_t, char>(ended, 2 * kMost, kCopyRun)),
              std::wstring(count, L'a') + std::wstring(2 * kMost - count, L'#'));
  }
}

}  // namespace
