#include <algorithm>
#include <utility>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "FuzzSupport.h"
#include "KuvAuth/ServiceClient/SignedRequest.h"
#include "PlatformStub.h"

namespace {

using Pairs = std::vector<std::pair<std::string, std::wstring>>;

bool BytesBefore(const std::string& left, const std::string& right) {
  for (std::size_t i = 0; i < std::min(left.size(), right.size()); ++i) {
    const auto a = static_cast<unsigned char>(left[i]);
    const auto b = static_cast<unsigned char>(right[i]);
    if (a != b) return a < b;
  }
  return left.size() < right.size();
}

std::string PlainText(Pairs pairs, const std::vector<std::string>& masked) {
  std::sort(pairs.begin(), pairs.end(),
            [](const auto& left, const auto& right) { return BytesBefore(left.first, right.first); });
  std::string text;
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    const std::string name = KuvFuzz::PlainPercent(pairs[i].first);
    const bool hidden = std::find(masked.begin(), masked.end(), name) != masked.end();
    const std::string value = KuvFuzz::PlainPercent(KuvFuzz::StubNarrow(pairs[i].second));
    text += (i == 0 ? "" : "&") + name + "=" + (hidden ? "#####" : value);
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input{data, size};
  Pairs pairs;
  std::vector<std::string> masked;
  while (input.remaining_bytes() != 0) {
    const std::string name = input.ConsumeRandomLengthString();
    const std::string value = input.ConsumeRandomLengthString();
    // Half of the names are masked: by the encoded form, or by the plain form, which has an effect only if
    // both agree.
    const int mask = input.ConsumeIntegralInRange(0, 3);
    if (mask == 1) masked.push_back(KuvFuzz::PlainPercent(name));
    if (mask == 2) masked.push_back(name);
    const bool known =
        std::any_of(pairs.begin(), pairs.end(), [&](const auto& pair) { return pair.first == name; });
    if (!known) pairs.emplace_back(name, std::wstring{value.begin(), value.end()});
  }
  const std::string text =
      Kuv::Util::BuildParameterString({pairs.begin(), pairs.end()}, {masked.begin(), masked.end()});
  KuvFuzz::Require(text == PlainText(pairs, masked), "text");
  return 0;
}
