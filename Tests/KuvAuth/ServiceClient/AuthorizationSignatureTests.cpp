#include "KuvAuth/ServiceClient/AuthorizationSignature.h"

#include <gtest/gtest.h>

#include "CryptoApiScript.h"
#include "Support/LogCapture.h"

namespace {

using Kuv::Util::BuildAuthorizationSignature;
using Kuv::Util::BuildJsonAuthorizationSignature;
using KuvTest::LogLines;

// FIPS 180-4: SHA-512 of nothing and of "abc".
constexpr char kDigestOfNothing[] =
    "cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce"
    "47d0d13c5d85f2b0ff8318d2877eec2f63b931bd47417a81a538327af927da3e";
constexpr char kDigestOfAbc[] =
    "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
    "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f";

TEST(AuthorizationSignature, HasALineForEachFieldButAnEmptyFirstOne) {
  EXPECT_EQ(BuildAuthorizationSignature("date", "POST", "host", "/path", "a=1&b=2"),
            "date\nPOST\nhost\n/path\na=1&b=2");
  EXPECT_EQ(BuildAuthorizationSignature("", "POST", "host", "/path", "a=1"), "POST\nhost\n/path\na=1");
  EXPECT_EQ(BuildAuthorizationSignature("", "", "", "", ""), "\n\n\n");
  EXPECT_EQ(BuildAuthorizationSignature("date", "", "", "", ""), "date\n\n\n\n");
}

TEST(AuthorizationSignature, ChangesNoField) {
  EXPECT_EQ(BuildAuthorizationSignature(" ", "pOsT", " Host ", "/\n/", std::string("\0&\r\n", 4)),
            std::string(" \npOsT\n Host \n/\n/\n\0&\r\n", 22));
}

TEST(JsonAuthorizationSignature, HasAnEmptyLineAndTheDigestOfTheBody) {
  const KuvTest::LogCapture log;
  EXPECT_EQ(BuildJsonAuthorizationSignature("date", "POST", "host", "/path", "abc"),
            std::string{"date\nPOST\nhost\n/path\n\n"} + kDigestOfAbc);
  EXPECT_EQ(BuildJsonAuthorizationSignature("", "POST", "host", "/path", "abc"),
            std::string{"POST\nhost\n/path\n\n"} + kDigestOfAbc);
  EXPECT_EQ(BuildJsonAuthorizationSignature("", "", "", "", ""), std::string{"\n\n\n\n"} + kDigestOfNothing);
  EXPECT_EQ(log.Lines(), LogLines{});
}

TEST(JsonAuthorizationSignature, DigestsTheBodyWithSha512) {
  KuvTest::CryptoApiScript crypto;
  EXPECT_EQ(BuildJsonAuthorizationSignature("1", "2", "3", "4", std::string("b\0dy", 4)),
            "1\n2\n3\n4\n\n7468652d76616c7565");
  EXPECT_EQ(crypto.events[1], "create hash 800E with key 0");
  EXPECT_EQ(crypto.hashed, std::string("b\0dy", 4));
}

TEST(JsonAuthorizationSignature, IsEmptyAndLoggedIfTheDigestFails) {
  const KuvTest::LogCapture log;
  KuvTest::CryptoApiScript crypto;
  crypto.Fail(3, 8);
  EXPECT_EQ(BuildJsonAuthorizationSignature("1", "2", "3", "4", "the-body"), "");
  EXPECT_EQ(log.Lines(),
            (LogLines{{LogLevel::Error, "System call 'CryptoHash:CryptHashData' failed. {error: 8}"},
                      {LogLevel::Error, "BuildJsonAuthorizationSignature failed."}}));
}

}  // namespace
