#include <algorithm>

#include <fuzzer/FuzzedDataProvider.h>

#include "FuzzSupport.h"
#include "KuvAuth/ServiceClient/AuthorizationSignature.h"
#include "PlatformStub.h"

namespace {

using KuvFuzz::Require;

std::string LowerDigits(const std::vector<std::uint8_t>& digest) {
  std::string text;
  for (const std::uint8_t byte : digest) {
    text += "0123456789abcdef"[byte / 16];
    text += "0123456789abcdef"[byte % 16];
  }
  return text;
}

std::ptrdiff_t LineFeeds(const std::string& text) {
  return std::count(text.begin(), text.end(), '\n');
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input{data, size};
  std::string field[5];
  for (std::string& text : field) text = input.ConsumeRandomLengthString();

  const std::string lead = field[0].empty() ? "" : field[0] + "\n";
  const std::string lines = lead + field[1] + "\n" + field[2] + "\n" + field[3] + "\n";
  const std::string form =
      Kuv::Util::BuildAuthorizationSignature(field[0], field[1], field[2], field[3], field[4]);
  Require(form == lines + field[4], "text of a form request");

  const std::vector<std::uint8_t> digest = KuvFuzz::StubDigest(field[4]);
  const std::string json =
      Kuv::Util::BuildJsonAuthorizationSignature(field[0], field[1], field[2], field[3], field[4]);
  if (digest.empty()) {
    Require(json.empty(), "nothing without a digest");
    return 0;
  }
  Require(json == lines + "\n" + LowerDigits(digest), "text of a JSON request");
  Require(LineFeeds(json) - 1 == LineFeeds(form) - LineFeeds(field[4]), "one line feed more");
  return 0;
}
