#include "KuvAuth/Signing/Secret.h"

#include <concepts>
#include <ostream>
#include <type_traits>

#include <gtest/gtest.h>

#include "FreedSecrets.h"
#include "KuvAuth/Signing/Credentials.h"

namespace {

using Kuv::Signing::CredentialValues;
using Kuv::Signing::Secret;

template <typename Type>
concept Printable = requires(std::ostream& out, const Type& value) {
  out << value;
};
template <typename Type>
concept Comparable = requires(const Type& value) {
  value == value;
};

static_assert(!std::is_copy_constructible_v<Secret> && !std::is_copy_assignable_v<Secret>);
static_assert(std::is_nothrow_move_constructible_v<Secret> && std::is_nothrow_move_assignable_v<Secret>);
static_assert(!Printable<Secret> && !Comparable<Secret>);
static_assert(!std::convertible_to<Secret, std::string> && !std::convertible_to<Secret, std::string_view> &&
              !std::constructible_from<std::string, Secret>);
// A text does not convert to a secret by accident, nor a secret to another field.
static_assert(!std::convertible_to<std::string, Secret> && !std::convertible_to<const char*, Secret>);
static_assert(!std::assignable_from<decltype(CredentialValues::host)&, Secret>);
static_assert(!std::is_copy_constructible_v<Kuv::Signing::Credentials>);

std::string_view BytesOf(const Secret& secret) {
  const auto bytes = secret.ExposeForSigning();
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// Longer and shorter than the buffer inside a std::string.
class SecretOfSize : public ::testing::TestWithParam<const char*> {
 protected:
  const std::string text = GetParam();
  KuvTest::FreedSecrets freed{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Sizes, SecretOfSize,
                         ::testing::Values("short-key", "a-secret-key-that-is-longer-than-the-buffer"));

TEST_P(SecretOfSize, HoldsItsBytesAndWipesThemWhenDestroyed) {
  {
    const Secret secret{text};
    EXPECT_FALSE(secret.IsEmpty());
    EXPECT_EQ(BytesOf(secret), text);
  }
  EXPECT_EQ(freed.Count(), 0);
}

TEST_P(SecretOfSize, WipesTheBytesThatAnAssignmentReplaces) {
  Secret secret{text};
  secret = Secret{"another"};
  EXPECT_EQ(BytesOf(secret), "another");
  EXPECT_EQ(freed.Count(), 0);
}

TEST_P(SecretOfSize, LeavesNothingBehindWhenMoved) {
  {
    Secret first{text};
    const void* const block = first.ExposeForSigning().data();
    Secret second{std::move(first)};
    EXPECT_TRUE(first.IsEmpty());  // NOLINT(bugprone-use-after-move): the state is specified
    EXPECT_EQ(second.ExposeForSigning().data(), block);
    first = std::move(second);
    EXPECT_TRUE(second.IsEmpty());  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(BytesOf(first), text);
  }
  EXPECT_EQ(freed.Count(), 0);
}

TEST_P(SecretOfSize, KeepsItsBytesWhenAssignedToItself) {
  Secret secret{text};
  Secret& same = secret;
  secret = std::move(same);
  EXPECT_EQ(BytesOf(secret), text);
}

TEST_P(SecretOfSize, TakesATextAndWipesAllItsMemory) {
  std::string source = text;
  source.reserve(200);
  const char* const memory = source.data();
  const Secret secret = Secret::Take(source);
  EXPECT_EQ(BytesOf(secret), text);
  EXPECT_TRUE(source.empty());
  ASSERT_EQ(source.data(), memory);
  EXPECT_EQ(std::string(memory, text.size()), std::string(text.size(), '\0'));
}

TEST(Secret, TakesBytesBehindTheEndOfTheTextToo) {
  std::string source(40, 'x');
  source.resize(1);
  const char* const memory = source.data();
  const Secret secret = Secret::Take(source);
  EXPECT_EQ(std::string(memory, 40), std::string(40, '\0'));
  EXPECT_EQ(BytesOf(secret), "x");
}

TEST(Secret, IsEmptyByDefaultAndForAnEmptyText) {
  EXPECT_TRUE(Secret{}.IsEmpty());
  EXPECT_TRUE(Secret{""}.IsEmpty());
  EXPECT_EQ(Secret{""}.ExposeForSigning().data(), nullptr);
  EXPECT_EQ(Secret{""}.ExposeForSigning().size(), 0u);
}

// Proves that the search finds what the other tests do not find.
TEST(FreedSecrets, FindsATextInAFreedBlock) {
  KuvTest::FreedSecrets freed{"a-text-that-is-freed"};
  { const std::string text = "here is a-text-that-is-freed, without being wiped"; }
  EXPECT_EQ(freed.Count(), 1);
}

}  // namespace
