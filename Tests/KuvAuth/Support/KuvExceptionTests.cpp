#include "KuvAuth/Support/KuvException.h"

#include <exception>
#include <stdexcept>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

namespace {

static_assert(!std::is_base_of_v<std::exception, CKuvException>);
static_assert(std::has_virtual_destructor_v<CKuvException>);
static_assert(std::is_copy_constructible_v<CKuvException> && std::is_copy_assignable_v<CKuvException>);
static_assert(std::is_same_v<decltype(CKuvException{1, ""}.code()), std::int32_t>);

TEST(KuvException, HasFixedCodes) {
  EXPECT_EQ(CKuvException::ErrorUnexpected + 0, 1);
  EXPECT_EQ(CKuvException::ErrorCommunication + 0, 2);
  EXPECT_EQ(CKuvException::ErrorBadResponse + 0, 3);
  EXPECT_EQ(CKuvException::ErrorBadCredentials + 0, 4);
}

TEST(KuvException, HasADefaultTextForEachCode) {
  EXPECT_EQ((CKuvException{1, ""}.GetErrorMessage()),
            L"There was an unexpected error while performing authentication.  Please contact your system "
            L"administrator.");
  EXPECT_EQ((CKuvException{2, ""}.GetErrorMessage()),
            L"There was an error communicating with the Kuv authentication server.  Please try again.");
  EXPECT_EQ((CKuvException{3, ""}.GetErrorMessage()),
            L"The Kuv authentication server returned an unexpected response.  Please contact your system "
            L"administrator.");
  EXPECT_EQ((CKuvException{4, ""}.GetErrorMessage()),
            L"Your Kuv authentication information was incorrect.  Please try again.");
}

TEST(KuvException, HasAnEmptyTextForAnyOtherCode) {
  for (const std::int32_t code : {0, 5, 9, -1, INT32_MIN, INT32_MAX}) {
    SCOPED_TRACE(code);
    EXPECT_EQ((CKuvException{code, ""}.GetErrorMessage()), L"");
  }
}

TEST(KuvException, ReturnsItsOwnMessageBeforeTheDefault) {
  for (const std::int32_t code : {1, 2, 3, 4, 9}) {
    SCOPED_TRACE(code);
    const CKuvException error{code, "Failed to create security descriptor"};
    EXPECT_EQ(error.GetErrorMessage(), L"Failed to create security descriptor");
    EXPECT_EQ(error.code(), code);
  }
}

TEST(KuvException, ConvertsItsMessageFromUtf8) {
  EXPECT_EQ((CKuvException{1, "\xC3\xA4\xE2\x82\xAC"}.GetErrorMessage()), L"\x00E4\x20AC");
}

TEST(KuvException, CopiesCodeAndMessage) {
  const CKuvException original{3, "own"};
  CKuvException assigned{1, ""};
  assigned = original;
  const CKuvException copy{original};
  for (const CKuvException& error : {assigned, copy}) {
    EXPECT_EQ(error.code(), 3);
    EXPECT_EQ(error.GetErrorMessage(), L"own");
  }
}

TEST(KuvException, IsNotCaughtAsAStandardException) {
  const auto raise = [] {
    try {
      throw CKuvException{1, "text"};
    } catch (const std::exception&) {
      FAIL() << "caught as a standard exception";
    }
  };
  EXPECT_THROW(raise(), CKuvException);
}

}  // namespace
