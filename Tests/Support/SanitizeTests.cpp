// For builds that trap undefined behavior: verifies that they do.
#include <climits>

#include <gtest/gtest.h>

namespace {

int Add(int left, int right) {
  return left + right;
}

int ShiftLeft(int number, int places) {
  return number << places;
}

int Element(const int (&array)[4], int index) {
  return array[index];
}

constexpr char kTrap[] = "Crashed with exception 0xC000001D";

TEST(Sanitize, EndsTheProcessAtUndefinedBehavior) {
  const int numbers[4] = {1, 2, 3, 4};
  EXPECT_EQ(Add(INT_MAX - 1, 1), INT_MAX);
  EXPECT_DEATH(Add(INT_MAX, 1), kTrap);
  EXPECT_EQ(ShiftLeft(1, 3), 8);
  EXPECT_DEATH(ShiftLeft(1, 40), kTrap);
  EXPECT_EQ(Element(numbers, 3), 4);
  EXPECT_DEATH(Element(numbers, 4), kTrap);
}

}  // namespace
