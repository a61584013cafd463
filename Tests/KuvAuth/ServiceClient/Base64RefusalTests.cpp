#include <cstdint>

#include <gtest/gtest.h>

#include "KuvAuth/ServiceClient/Base64Core.h"
#include "KuvAuth/ServiceClient/Encoders.h"
#include "Support/LogCapture.h"

// The core of `Base64Encode` refuses only arguments that it never gets, so this program defines its own core,
// which the linker uses instead.
namespace {

int g_calls = 0;

}  // namespace

namespace Kuv::Util {

bool EncodeBase64(const void*, std::int32_t length, char*, std::int32_t* size,
                  std::uint32_t options) noexcept {
  ++g_calls;
  EXPECT_EQ(length, 4);
  EXPECT_EQ(*size, 8);
  EXPECT_EQ(options, 2u);
  return false;
}

}  // namespace Kuv::Util

namespace {

TEST(Base64Refusal, IsLoggedAndReturnsNothing) {
  const KuvTest::LogCapture log;
  EXPECT_EQ(Kuv::Util::Base64Encode("abcd", 4), "");
  EXPECT_EQ(g_calls, 1);
  EXPECT_EQ(log.Lines(), (KuvTest::LogLines{{LogLevel::Error, "Base64Encode failed"}}));
}

}  // namespace
