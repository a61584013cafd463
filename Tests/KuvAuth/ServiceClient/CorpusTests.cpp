#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CorpusFile.h"
#include "KuvAuth/ServiceClient/KuvAuthUtil.h"
#include "Support/LogCapture.h"

// The results of Python's library for thousands of random inputs (make_corpus.py), byte for byte.
namespace {

using Fields = KuvTest::CorpusFields;

std::string ToText(const std::vector<std::uint8_t>& bytes) {
  return {bytes.begin(), bytes.end()};
}

class Corpus : public ::testing::Test {
 protected:
  // Compares the last field of each case of a kind with the result of `compute` for the case.
  void Compare(const std::string& kind, std::size_t count,
               const std::function<std::string(const Fields&)>& compute) {
    SCOPED_TRACE(kind);
    const std::vector<Fields> cases = KuvTest::ReadCorpus(KUV_CORPUS, kind);
    EXPECT_EQ(cases.size(), count);
    for (std::size_t i = 0; i < cases.size(); ++i) ASSERT_EQ(compute(cases[i]), cases[i].back()) << i;
    EXPECT_EQ(log.Lines(), KuvTest::LogLines{});
  }

  KuvTest::LogCapture log;
};

TEST_F(Corpus, Encodings) {
  Compare("base64", 1000, [](const Fields& f) { return Kuv::Util::Base64Encode(f[0].data(), f[0].size()); });
  Compare("hex", 1000, [](const Fields& f) { return Kuv::Util::AtlHexEncode(f[0].data(), f[0].size()); });
  Compare("hex", 1000, [](const Fields& f) { return Kuv::Util::BytesToHexString(f[0].data(), f[0].size()); });
  Compare("percent", 1000, [](const Fields& f) { return Kuv::Util::PercentEncode(f[0]); });
}

TEST_F(Corpus, HashesAndHeaders) {
  Compare("hmac", 300, [](const Fields& f) { return ToText(Kuv::Util::CalculateHmac(f[0], f[1])); });
  Compare("sha512", 200, [](const Fields& f) { return ToText(Kuv::Util::CryptoHash(f[0], 0x800E)); });
  Compare("header", 200,
          [](const Fields& f) { return Kuv::Util::BuildHmacAuthorizationHeader(f[0], f[1], f[2]); });
}

TEST_F(Corpus, ParameterStrings) {
  Compare("parameters", 600, [](const Fields& fields) {
    const KuvTest::CorpusParameters parameters{fields};
    return Kuv::Util::BuildParameterString(parameters.list, parameters.masked);
  });
}

TEST_F(Corpus, TextsToSign) {
  Compare("signature", 400, [](const Fields& f) {
    return Kuv::Util::BuildAuthorizationSignature(f[0], f[1], f[2], f[3], f[4]);
  });
  Compare("json", 150, [](const Fields& f) {
    return Kuv::Util::BuildJsonAuthorizationSignature(f[0], f[1], f[2], f[3], f[4]);
  });
}

}  // namespace
