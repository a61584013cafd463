#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KuvAuth/ServiceClient/Encoders.h"
#include "KuvAuth/ServiceClient/SignedRequest.h"
#include "Support/LogCapture.h"

// How a header is made when an encoder fails, which takes gigabytes of input with the real ones. This
// program therefore has encoders of its own, which the linker takes in place of the library's.
namespace {

enum class Manner { Works, GivesNothing, Throws };

Manner g_hex = Manner::Works;
Manner g_base64 = Manner::Works;

std::string Answer(Manner manner, const char* text) {
  if (manner == Manner::Throws) throw CAtlException(-5);
  return manner == Manner::Works ? text : "";
}

}  // namespace

namespace Kuv::Util {

std::string AtlHexEncode(const void*, std::uint64_t length) {
  EXPECT_EQ(length, 20u);
  return Answer(g_hex, "hex");
}

std::string Base64Encode(const void* data, std::uint64_t length) {
  EXPECT_EQ(std::string(static_cast<const char*>(data), static_cast<std::size_t>(length)), "user:hex");
  return Answer(g_base64, "base64");
}

}  // namespace Kuv::Util

namespace {

using Kuv::Util::BuildHmacAuthorizationHeader;
using KuvTest::LogLines;

class EncoderFailure : public ::testing::Test {
 protected:
  ~EncoderFailure() override {
    g_hex = Manner::Works;
    g_base64 = Manner::Works;
  }

  KuvTest::LogCapture log;
};

TEST_F(EncoderFailure, NoneGivesTheHeaderInSilence) {
  EXPECT_EQ(BuildHmacAuthorizationHeader("key", "user", "text"), "Authorization: Basic base64\r\n");
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST_F(EncoderFailure, HexTextThatIsEmptyFailsTheHeader) {
  g_hex = Manner::GivesNothing;
  EXPECT_EQ(BuildHmacAuthorizationHeader("key", "user", "text"), "");
  EXPECT_EQ(log.Lines(),
            (LogLines{{LogLevel::Error, "HexEncode failed"}, {LogLevel::Error, "CalculateKuvHash failed"}}));
}

TEST_F(EncoderFailure, Base64TextThatIsEmptyFailsTheHeader) {
  g_base64 = Manner::GivesNothing;
  EXPECT_EQ(BuildHmacAuthorizationHeader("key", "user", "text"), "");
  EXPECT_EQ(log.Lines(), (LogLines{{LogLevel::Error, "Base64Encode failed"}}));
}

TEST_F(EncoderFailure, ExceptionsPassThrough) {
  g_hex = Manner::Throws;
  EXPECT_THROW(BuildHmacAuthorizationHeader("key", "user", "text"), CAtlException);
  g_hex = Manner::Works;
  g_base64 = Manner::Throws;
  EXPECT_THROW(BuildHmacAuthorizationHeader("key", "user", "text"), CAtlException);
  EXPECT_EQ(log.Lines(), LogLines{});
}

}  // namespace
