#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KuvAuth/ServiceClient/Encoders.h"
#include "KuvAuth/ServiceClient/SignedRequest.h"
#include "Support/LogCapture.h"

// Headers whose encoder fails. The library's encoders fail only for gigabytes of input, so this program
// defines its own encoders, which the linker uses instead.
namespace {

enum class Outcome { Works, ReturnsNothing, Throws };

Outcome g_hex = Outcome::Works;
Outcome g_base64 = Outcome::Works;

std::string Answer(Outcome outcome, const char* text) {
  if (outcome == Outcome::Throws) throw CAtlException(-5);
  return outcome == Outcome::Works ? text : "";
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
    g_hex = Outcome::Works;
    g_base64 = Outcome::Works;
  }

  KuvTest::LogCapture log;
};

TEST_F(EncoderFailure, IsLoggedAndReturnsNoHeader) {
  const struct {
    const char* name;
    Outcome hex;
    Outcome base64;
    const char* header;
    LogLines lines;
  } rows[] = {
      {"none", Outcome::Works, Outcome::Works, "Authorization: Basic base64\r\n", {}},
      {"hexadecimal",
       Outcome::ReturnsNothing,
       Outcome::Works,
       "",
       {{LogLevel::Error, "HexEncode failed"}, {LogLevel::Error, "CalculateKuvHash failed"}}},
      {"Base64", Outcome::Works, Outcome::ReturnsNothing, "", {{LogLevel::Error, "Base64Encode failed"}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    log.Clear();
    g_hex = row.hex;
    g_base64 = row.base64;
    EXPECT_EQ(BuildHmacAuthorizationHeader("key", "user", "text"), row.header);
    EXPECT_EQ(log.Lines(), row.lines);
  }
}

TEST_F(EncoderFailure, ExceptionsPassThrough) {
  g_hex = Outcome::Throws;
  g_base64 = Outcome::Works;
  EXPECT_THROW(static_cast<void>(BuildHmacAuthorizationHeader("key", "user", "text")), CAtlException);
  g_hex = Outcome::Works;
  g_base64 = Outcome::Throws;
  EXPECT_THROW(static_cast<void>(BuildHmacAuthorizationHeader("key", "user", "text")), CAtlException);
  EXPECT_EQ(log.Lines(), LogLines{});
}

}  // namespace
