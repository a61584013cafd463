#include <map>

#include <fuzzer/FuzzedDataProvider.h>

#include "FuzzSupport.h"
#include "KuvAuth/ServiceClient/ServiceVocabulary.h"

namespace {

using namespace Kuv::Util;
using Words = std::map<std::string, std::int32_t>;

const Words kFactors{{"auto", 0}, {"passcode", 1}, {"phone", 2}, {"push", 3}, {"sms", 4}};
const Words kResults{{"allow", 0}, {"auth", 1}, {"deny", 2}, {"enroll", 3}, {"waiting", 4}};
const Words kStatuses{{"allow", 0},       {"answered", 1}, {"bypass", 2},     {"calling", 3},
                      {"deny", 4},        {"fraud", 5},    {"locked_out", 6}, {"pushed", 7},
                      {"push_failed", 8}, {"timeout", 9},  {"sent", 10}};

template <typename Enumeration>
void Check(const Words& words, const std::string& text, std::int32_t value,
           Enumeration (*fromString)(const std::string&), std::string (*toString)(Enumeration)) {
  const auto known = words.find(text);
  const auto parsed = static_cast<std::int32_t>(fromString(text));
  KuvFuzz::Require(parsed == (known == words.end() ? -1 : known->second), "value of a text");
  const std::string back = toString(static_cast<Enumeration>(value));
  const auto expected = static_cast<std::size_t>(static_cast<std::uint32_t>(value));
  KuvFuzz::Require(back.empty() == (expected >= words.size()), "values that have a text");
  KuvFuzz::Require(back.empty() || words.at(back) == value, "text of a value");
}

// Returns a known word, a modified one or any text.
std::string ConsumeText(FuzzedDataProvider& input) {
  static const std::string words[] = {"auto",     "passcode",    "phone",   "push",   "sms",
                                      "allow",    "auth",        "deny",    "enroll", "waiting",
                                      "answered", "bypass",      "calling", "fraud",  "locked_out",
                                      "pushed",   "push_failed", "timeout", "sent",   ""};
  std::string text = input.PickValueInArray(words);
  if (input.ConsumeBool() && !text.empty()) {
    text[input.ConsumeIntegralInRange<std::size_t>(0, text.size() - 1)] = input.ConsumeIntegral<char>();
  }
  return text + input.ConsumeRandomLengthString();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input{data, size};
  const std::int32_t value =
      input.ConsumeBool() ? input.ConsumeIntegralInRange(-2, 12) : input.ConsumeIntegral<std::int32_t>();
  const std::string text = ConsumeText(input);
  Check<AuthFactor>(kFactors, text, value, AuthFactorFromString, AuthFactorToString);
  Check<AuthResult>(kResults, text, value, AuthResultFromString, AuthResultToString);
  Check<AuthStatus>(kStatuses, text, value, AuthStatusFromString, AuthStatusToString);
  return 0;
}
