#include <algorithm>
#include <map>

#include <fuzzer/FuzzedDataProvider.h>

#include "KuvAuth/Signing/Signing.h"
#include "SigningModel.h"

namespace {

using namespace Kuv::Signing;
using KuvFuzz::Require;

constexpr std::string_view kMask = "#####";

std::string PlainDecode(const std::string& text) {
  const std::string digits = "0123456789ABCDEF0123456789abcdef";
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool escaped = text[i] == '%' && i + 2 < text.size() &&
                         digits.find(text[i + 1]) != std::string::npos &&
                         digits.find(text[i + 2]) != std::string::npos;
    decoded += escaped ? static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16)) : text[i];
    if (escaped) i += 2;
  }
  return decoded;
}

std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> parts{""};
  for (const char character : text) {
    if (character == '&') {
      parts.emplace_back();
    } else {
      parts.back() += character;
    }
  }
  return parts;
}

// A name in either form must be masked.
bool MustMask(const std::vector<std::string>& names, const std::string& name) {
  return std::any_of(names.begin(), names.end(), [&name](const std::string& given) {
    return given == name || PlainDecode(given) == name;
  });
}

// Escapes every byte, in lower case.
std::string EscapeAll(const std::string& text) {
  std::string escaped;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    escaped += {'%', "0123456789abcdef"[byte / 16], "0123456789abcdef"[byte % 16]};
  }
  return escaped;
}

// Without any name that is equal after decoding both, and without the text of other parameters in the value,
// nothing may be masked.
bool MayMask(const std::vector<std::string>& names, const std::string& name, const std::string& value) {
  const std::string once = PlainDecode(name);
  for (const std::string& given : names) {
    for (const std::string& form : {name, once, PlainDecode(once), KuvFuzz::PlainPercent(name)}) {
      if (given == form || PlainDecode(given) == form) return true;
    }
  }
  const std::string decoded = PlainDecode(value);
  return (value + decoded + PlainDecode(decoded)).find('=') != std::string::npos;
}

void CheckPairs(const std::vector<std::string>& names, const std::map<std::string, std::wstring>& parameters,
                const std::string& text) {
  const std::vector<std::string> pairs = Split(text);
  Require(pairs.size() == parameters.size(), "number of pairs");
  std::size_t index = 0;
  for (const auto& [name, wide] : parameters) {
    const std::string value = KuvFuzz::StubNarrow(wide);
    const std::string start = KuvFuzz::PlainPercent(name) + "=";
    const bool masked = pairs[index] == start + std::string{kMask};
    Require(masked || pairs[index] == start + KuvFuzz::PlainPercent(value), "pair");
    Require(masked || !MustMask(names, name), "value that must be masked");
    Require(!masked || MayMask(names, name, value), "value that must not be masked");
    ++index;
  }
}

// A value in the path must not be shown in any part, unless it ends the pair.
void CheckPath(const std::vector<std::string>& names, const std::string& before) {
  constexpr char kValue[] = "se/c?r;e#t=value";
  for (const std::string& name : names) {
    if (name.empty() || name.find('&') != std::string::npos) continue;
    if (name.find("value") != std::string::npos) continue;
    for (const std::string& form : {name, KuvFuzz::PlainPercent(name)}) {
      const std::string path = before + "?" + form + "=" + kValue;
      const std::string line = MaskedForLog(Request{.method = "GET", .path = path}, names);
      Require(line.find("value") == std::string::npos, "value in the path");
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider source{data, size};
  std::vector<std::string> names;
  std::map<std::string, std::wstring> parameters;
  const std::string method = source.ConsumeRandomLengthString(10);
  const std::string path = source.ConsumeRandomLengthString(40);
  while (source.remaining_bytes() != 0) {
    const std::string name = source.ConsumeRandomLengthString();
    std::wstring value;
    for (const char character : source.ConsumeRandomLengthString())
      value += static_cast<unsigned char>(character);
    const int form = source.ConsumeIntegralInRange(0, 4);
    if (form == 1) names.push_back(name);
    if (form == 2) names.push_back(KuvFuzz::PlainPercent(name));
    if (form == 3) names.push_back(EscapeAll(name));
    parameters.emplace(name, value);
  }
  Request request{.method = method, .path = path, .content = parameters};
  const std::string line = MaskedForLog(request, names);
  Require(KuvFuzz::HasOnly(line, KuvFuzz::VisibleWithout("") + " "), "one visible line");

  request = {.method = "POST", .path = "/", .content = parameters};
  const std::string known = MaskedForLog(request, names);
  Require(known.starts_with("POST /"), "start");
  if (parameters.empty()) {
    Require(known == "POST /", "no parameters");
  } else {
    Require(known[6] == ' ', "separator");
    CheckPairs(names, parameters, known.substr(7));
  }
  const SignedRequest signedRequest{.method = method, .target = path, .body = path, .contentType = method};
  Require(KuvFuzz::HasOnly(MaskedForLog(signedRequest, names), KuvFuzz::VisibleWithout("") + " "),
          "one visible line of a signed request");
  if (path.find("value") == std::string::npos && path.find('&') == std::string::npos) CheckPath(names, path);
  return 0;
}
