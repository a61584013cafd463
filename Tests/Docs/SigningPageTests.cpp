#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "KuvAuth/ServiceClient/KuvAuthUtil.h"
#include "KuvAuth/Signing/Signing.h"
#include "KuvAuth/Support/Text.h"

namespace {

using namespace Kuv::Util;

std::string ReadPage() {
  std::ifstream file{std::filesystem::path{KUV_SIGNING_PAGE}, std::ios::binary};
  if (!file) throw std::runtime_error{"no page"};
  std::string page{std::istreambuf_iterator<char>{file}, {}};
  std::erase(page, '\r');
  return page;
}

// Returns the named block of the page without its last line end.
std::string Block(const std::string& name) {
  static const std::string page = ReadPage();
  const std::string start = "\n<!-- " + name + " -->\n```text\n";
  const std::size_t from = page.find(start);
  if (from == std::string::npos) throw std::runtime_error{"no block " + name};
  const std::size_t text = from + start.size();
  return page.substr(text, page.find("\n```\n", text) - text);
}

std::map<std::string, std::string> Fields(const std::string& block, const std::string& separator) {
  std::map<std::string, std::string> fields;
  std::istringstream lines{Block(block)};
  for (std::string line; std::getline(lines, line);) {
    const std::size_t end = line.find(separator);
    const std::size_t value = line.find_first_not_of(' ', end + separator.size());
    fields[line.substr(0, end)] = line.substr(value);
  }
  return fields;
}

class SigningPage : public ::testing::Test {
 protected:
  SigningPage() {
    for (const auto& [name, value] : Fields("values", "=")) parameters[name] = Utf8ToWide(value);
  }

  std::string Header(const std::string& text) {
    return BuildHmacAuthorizationHeader(request["SKey"], request["IKey"], text);
  }

  std::map<std::string, std::string> request = Fields("request", ":");
  ParameterList parameters;
};

TEST_F(SigningPage, SignsParametersAsTheLibraryDoes) {
  EXPECT_EQ(parameters.size(), 2u);
  EXPECT_EQ(BuildParameterString(parameters, {}), Block("parameters"));
  EXPECT_EQ(BuildParameterString(parameters, {"user"}), Block("masked parameters"));
  const std::string text = BuildAuthorizationSignature(request["Date"], request["Method"], request["Host"],
                                                       request["Path"], Block("parameters"));
  EXPECT_EQ(text, Block("text"));
  const std::vector<std::uint8_t> hmac = CalculateHmac(request["SKey"], text);
  EXPECT_EQ(ToLowerAscii(AtlHexEncode(hmac.data(), hmac.size())), Block("hmac"));
  EXPECT_EQ(request["IKey"] + ":" + AtlHexEncode(hmac.data(), hmac.size()), Block("credentials"));
  std::string headers = BuildHeaderLine("Date", request["Date"]) + Header(text);
  std::erase(headers, '\r');
  EXPECT_EQ(headers, Block("headers") + "\n");
}

TEST_F(SigningPage, SignsABodyAsTheLibraryDoes) {
  const std::string text = BuildJsonAuthorizationSignature(
      request["Date"], request["Method"], request["Host"], request["Path"], Block("json body"));
  EXPECT_EQ(text, Block("json text"));
  EXPECT_EQ(Header(text), Block("json header") + "\r\n");
}

TEST_F(SigningPage, UsesALongKeyAsTheLibraryDoes) {
  const std::vector<std::uint8_t> hmac = CalculateHmac(Block("long key"), Block("text"));
  EXPECT_EQ(ToLowerAscii(AtlHexEncode(hmac.data(), hmac.size())), Block("long key hmac"));
}

TEST_F(SigningPage, AcceptsARequestAtTheTimesOfThePage) {
  using namespace Kuv::Signing;
  const Result<Credentials> credentials = Credentials::FromValues(
      {.host = request["Host"], .integrationKey = request["IKey"], .secretKey = Secret{request["SKey"]}});
  ASSERT_TRUE(credentials);
  const std::string headers = Block("headers");
  const std::string parameterText = Block("parameters");
  const ReceivedRequest received{.method = request["Method"],
                                 .host = request["Host"],
                                 .path = request["Path"],
                                 .content = ReceivedParameters{parameterText},
                                 .date = request["Date"],
                                 .authorization = std::string_view{headers}.substr(headers.find("Basic"))};
  std::istringstream lines{Block("times")};
  for (std::string line; std::getline(lines, line);) {
    SCOPED_TRACE(line);
    const auto now = ParseHttpDate(line.substr(0, 29));
    ASSERT_TRUE(now);
    const Verdict verdict = Verify(received, *credentials, *now, std::chrono::seconds{300});
    EXPECT_EQ(verdict == Verdict::Accepted, line.ends_with("accepted"));
  }
}

}  // namespace
