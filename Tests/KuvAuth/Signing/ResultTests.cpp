#include "KuvAuth/Signing/Result.h"

#include <memory>

#include <gtest/gtest.h>

namespace {

using Kuv::Signing::Failure;
using Kuv::Signing::kMaximumSize;
using Kuv::Signing::Reason;
using Kuv::Signing::Result;

TEST(Result, HoldsAValueThatCanOnlyBeMoved) {
  Result<std::unique_ptr<int>> result{std::make_unique<int>(5)};
  ASSERT_TRUE(result);
  EXPECT_TRUE(result.HasValue());
  EXPECT_EQ(**result, 5);
  EXPECT_EQ(*result->get(), 5);
  const std::unique_ptr<int> taken = *std::move(result);
  EXPECT_EQ(*taken, 5);
}

TEST(Result, HoldsAFailure) {
  const Result<int> result{Failure{.reason = Reason::TooLong, .field = "path"}};
  EXPECT_FALSE(result);
  EXPECT_FALSE(result.HasValue());
  EXPECT_EQ(result.GetFailure().reason, Reason::TooLong);
  EXPECT_EQ(result.GetFailure().field, "path");
}

TEST(Result, EndsTheProcessInsteadOfReturningWhatItDoesNotHold) {
  const Result<std::string> failure{Failure{}};
  const Result<std::string> value{std::string{"text"}};
  EXPECT_DEATH(static_cast<void>(failure.Value()), "");
  EXPECT_DEATH(static_cast<void>(*failure), "");
  EXPECT_DEATH(static_cast<void>(failure->size()), "");
  EXPECT_DEATH(static_cast<void>(value.GetFailure()), "");
}

TEST(Failure, DescribesEachReasonInOneSentenceOrTwo) {
  const struct {
    Failure failure;
    const char* text;
  } rows[] = {
      {{.reason = Reason::MissingSetting, .field = "Host, SKey"},
       "Settings are missing: Host, SKey. Set them in HKEY_LOCAL_MACHINE\\Software\\Kuvant\\KuvCredProv."},
      {{.reason = Reason::Empty, .field = "method"}, "Empty: method. A value is required."},
      {{.reason = Reason::InvalidCharacter, .field = "path"},
       "Invalid character: path. Remove or encode it."},
      {{.reason = Reason::InvalidEncoding, .field = "parameters.user"},
       "Not valid UTF-16: parameters.user. Correct the value."},
      {{.reason = Reason::OutOfRange, .field = "port"}, "Out of range: port. Correct the value."},
      {{.reason = Reason::TooLong, .field = "request"},
       "Too long: request. At most 134217728 characters are allowed."},
      {{.reason = Reason::BodyNotAllowed, .field = "body"},
       "A request of this method cannot have a JSON body. Use another method, or parameters."},
      {{.reason = Reason::PlatformCallFailed,
        .field = "signature",
        .call = "CryptAcquireContextW",
        .code = 0x80090016},
       "The platform call CryptAcquireContextW failed for signature. {error: 2148073494 (0x80090016)}"},
      {{.reason = static_cast<Reason>(99), .field = "x"}, "Unknown reason: x."},
  };
  for (const auto& row : rows) EXPECT_EQ(row.failure.Describe(), row.text);
  EXPECT_EQ(kMaximumSize, 134217728u);
}

}  // namespace
