#include "KuvAuth/Support/BoundedArray.h"

#include <windows.h>

#include <cstdint>
#include <stdexcept>
#include <type_traits>

#include <gtest/gtest.h>

#include "Support/GuardedBuffer.h"

namespace {

using KuvTest::GuardedBuffer;

TEST(BoundedArray, ReadsAndWritesUpToItsCount) {
  const GuardedBuffer<BOOL> flags{3};
  const BoundedArray<BOOL> array{flags.Get(), 3};
  for (std::uint64_t i = 0; i < array.Count(); ++i) array[i] = static_cast<BOOL>(i) + 5;
  EXPECT_EQ(flags.Get()[0], 5);
  EXPECT_EQ(flags.Get()[2], 7);
  EXPECT_EQ(array[1], 6);
}

TEST(BoundedArray, ThrowsBeyondItsCount) {
  const GuardedBuffer<BOOL> flags{2};
  const BoundedArray<BOOL> array{flags.Get(), 2};
  for (const std::uint64_t index :
       {std::uint64_t{2}, std::uint64_t{3}, std::uint64_t{0x100000000}, ~std::uint64_t{0}}) {
    try {
      array[index] = 1;
      ADD_FAILURE() << "nothing was thrown for " << index;
    } catch (const std::out_of_range& error) {
      EXPECT_STREQ(error.what(), "Array index out of range");
    }
  }
}

TEST(BoundedArray, OfNothingHasNoElement) {
  const BoundedArray<const GUID> array{nullptr, 0};
  EXPECT_THROW(static_cast<void>(array[0]), std::out_of_range);
}

TEST(BoundedArray, CountsIn64Bits) {
  const BoundedArray<const GUID> array{nullptr, 0x100000001};
  static_assert(std::is_same_v<decltype(array.Count()), std::uint64_t>);
  EXPECT_EQ(array.Count(), 0x100000001u);
}

}  // namespace
