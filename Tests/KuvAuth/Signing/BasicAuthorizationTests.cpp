#include "KuvAuth/Signing/BasicAuthorization.h"

#include <gtest/gtest.h>

#include "KuvAuth/ServiceClient/Encoders.h"

namespace {

using Kuv::Signing::DecodeBase64;

// RFC 4648, section 10.
TEST(DecodeBase64, DecodesTheVectorsOfTheStandard) {
  const char* const rows[][2] = {{"", ""},
                                 {"Zg==", "f"},
                                 {"Zm8=", "fo"},
                                 {"Zm9v", "foo"},
                                 {"Zm9vYg==", "foob"},
                                 {"Zm9vYmE=", "fooba"},
                                 {"Zm9vYmFy", "foobar"}};
  for (const auto& [encoded, decoded] : rows) EXPECT_EQ(DecodeBase64(encoded), decoded) << encoded;
}

TEST(DecodeBase64, DecodesEveryByteAtEveryPosition) {
  for (int byte = 0; byte < 256; ++byte) {
    for (std::size_t size = 1; size <= 4; ++size) {
      for (std::size_t position = 0; position < size; ++position) {
        std::string bytes(size, '\xA5');
        bytes[position] = static_cast<char>(byte);
        ASSERT_EQ(DecodeBase64(Kuv::Util::Base64Encode(bytes.data(), bytes.size())), bytes);
      }
    }
  }
}

TEST(DecodeBase64, RejectsEveryOtherText) {
  for (const char* const text : {"Z",    "Zg",   "Zg=",      "Zg===",      "Zm9vYg=",  "=",    "==",   "===",
                                 "====", "Z===", "Zg=a",     "Z=g=",       "Zm9v\n",   "Zm 9", "Zm9-", "Zm9_",
                                 "Zh==", "Zm9=", "Zm9v====", "\xC3\xA4==", "Zg==Zg==", "A==="}) {
    EXPECT_EQ(DecodeBase64(text), std::nullopt) << text;
  }
}

}  // namespace
