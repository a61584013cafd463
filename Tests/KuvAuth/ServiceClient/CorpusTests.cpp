#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KuvAuth/ServiceClient/KuvAuthUtil.h"
#include "Support/LogCapture.h"

// The results of Python's library for thousands of random inputs (make_corpus.py), byte for byte.
namespace {

using Fields = std::vector<std::string>;

std::string FromHex(const std::string& hex) {
  std::string bytes;
  for (std::size_t i = 0; hex != "-" && i < hex.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

std::string ToText(const std::vector<std::uint8_t>& bytes) {
  return {bytes.begin(), bytes.end()};
}

class Corpus : public ::testing::Test {
 protected:
  // Compares the last field of each case of a kind with the result of `compute` for the others.
  void Compare(const std::string& kind, int count, const std::function<std::string(const Fields&)>& compute) {
    SCOPED_TRACE(kind);
    std::ifstream file{KUV_CORPUS};
    ASSERT_TRUE(file.is_open()) << KUV_CORPUS;
    int cases = 0;
    for (std::string line; std::getline(file, line);) {
      std::istringstream words{line};
      std::string word;
      words >> word;
      if (word != kind) continue;
      Fields fields;
      while (words >> word) fields.push_back(FromHex(word));
      const std::string expected = fields.back();
      fields.pop_back();
      ++cases;
      ASSERT_EQ(compute(fields), expected) << line;
    }
    EXPECT_EQ(cases, count);
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
    Kuv::Util::ParameterList parameters;
    Kuv::Util::MaskedNameSet masked;
    std::string name;
    for (const std::string& field : fields) {
      const std::string content = field.substr(1);
      if (field[0] == 'n') name = content;
      if (field[0] == 'm') masked.insert(content);
      if (field[0] != 'v') continue;
      std::wstring& value = parameters[name];
      for (std::size_t i = 0; i < content.size(); i += 2) {
        value += static_cast<wchar_t>(static_cast<unsigned char>(content[i]) |
                                      static_cast<unsigned char>(content[i + 1]) << 8);
      }
    }
    return Kuv::Util::BuildParameterString(parameters, masked);
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
