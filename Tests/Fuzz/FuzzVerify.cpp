#include <cstdio>
#include <ctime>
#include <optional>

#include <fuzzer/FuzzedDataProvider.h>

#include "KuvAuth/Signing/Signing.h"
#include "SigningModel.h"

namespace {

using namespace Kuv::Signing;
using KuvFuzz::ExactCopy;
using KuvFuzz::Require;

struct Input {
  std::string method, host, path, content, date, authorization;
  bool isJson;
};

constexpr char kHost[] = "auth.kuv.example";
constexpr char kUser[] = "user";
constexpr char kNow[] = "Tue, 03 Nov 2026 09:30:00 GMT";
constexpr std::int64_t kNowCount = 1793698200;

// Formats the date that the platform reads in a text. They are equal for a date in the right form only.
std::optional<std::int64_t> PlainTime(const std::string& text) {
  std::tm parts{};
  // A leap second is not a date that can be formatted again.
  const bool leap = text.size() == 29 && text.substr(23, 2) == "60";
  const std::string plain = leap ? text.substr(0, 23) + "59" + text.substr(25) : text;
  const char* const end = ::strptime(plain.c_str(), "%a, %d %b %Y %H:%M:%S GMT", &parts);
  if (end == nullptr || end != plain.c_str() + plain.size()) return std::nullopt;
  const std::time_t time = ::timegm(&parts);
  std::tm again{};
  ::gmtime_r(&time, &again);
  char formatted[80];
  std::strftime(formatted, sizeof(formatted), "%a, %d %b ", &again);
  std::string whole = formatted;
  std::snprintf(formatted, sizeof(formatted), "%04d %02d:%02d:%02d GMT", again.tm_year + 1900, again.tm_hour,
                again.tm_min, again.tm_sec);
  whole += formatted;
  if (whole != plain) return std::nullopt;
  return time + (leap ? 1 : 0);
}

bool IsInWindow(std::int64_t date, std::int64_t now, std::int64_t skew) {
  const __int128 distance = static_cast<__int128>(date) - now;
  return distance <= skew && -distance <= skew;
}

bool IsAuthorization(const std::string& text, const std::string& expected) {
  std::string scheme = text.substr(0, 5);
  for (char& character : scheme) {
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character + 32);
  }
  const std::size_t spaces = text.find_first_not_of(' ', 5);
  return scheme == "basic" && spaces != std::string::npos && spaces > 5 && text.substr(spaces) == expected;
}

// The encoding has one form only, so comparing the encoded texts is the same as decoding them.
bool IsAccepted(const Input& input, const std::string& key, std::int64_t now, std::int64_t skew) {
  if (!KuvFuzz::IsMethod(input.method) || input.host != kHost || !KuvFuzz::IsPath(input.path)) return false;
  if (!input.isJson && !KuvFuzz::HasOnly(input.content, KuvFuzz::kLettersAndDigits + "-._~%=&")) return false;
  const std::optional<std::int64_t> date = PlainTime(input.date);
  if (!date || !IsInWindow(*date, now, skew)) return false;
  if (key.starts_with('!') || (input.isJson && input.content.starts_with('!'))) return false;
  const std::string text =
      KuvFuzz::PlainCanonical(input.date, input.method, input.host, input.path, input.content, input.isJson);
  return IsAuthorization(input.authorization, KuvFuzz::PlainAuthorization(key, kUser, text));
}

// Replaces one byte or the whole text, or leaves it.
void Change(FuzzedDataProvider& source, std::string& text) {
  switch (source.ConsumeIntegralInRange(0, 7)) {
    case 0:
      text = source.ConsumeRandomLengthString();
      break;
    case 1:
      if (!text.empty())
        text[source.ConsumeIntegralInRange<std::size_t>(0, text.size() - 1)] = source.ConsumeIntegral<char>();
      break;
    case 2:
      text.insert(source.ConsumeIntegralInRange<std::size_t>(0, text.size()), 1,
                  source.ConsumeIntegral<char>());
      break;
    default:
      break;
  }
}

// The views end where blocks of exactly their size end.
struct Blocks {
  explicit Blocks(const Input& input)
      : method(input.method),
        host(input.host),
        path(input.path),
        content(input.content),
        date(input.date),
        authorization(input.authorization) {}

  ReceivedRequest View(const Input& input) const {
    ReceivedRequest request{.method = {method.Get(), input.method.size()},
                            .host = {host.Get(), input.host.size()},
                            .path = {path.Get(), input.path.size()},
                            .date = {date.Get(), input.date.size()},
                            .authorization = {authorization.Get(), input.authorization.size()}};
    const std::string_view text{content.Get(), input.content.size()};
    if (input.isJson) {
      request.content = ReceivedJson{text};
    } else {
      request.content = ReceivedParameters{text};
    }
    return request;
  }

  ExactCopy method, host, path, content, date, authorization;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider source{data, size};
  const std::string key = source.ConsumeBool() ? "key" : "k" + source.ConsumeRandomLengthString(20);
  Input input{"POST", kHost, "/v1/auth", "a=b", kNow, "", source.ConsumeBool()};
  // Changes before the signature are signed; changes after it are not.
  for (std::string* const text : {&input.method, &input.host, &input.path, &input.content, &input.date})
    Change(source, *text);
  const std::string text =
      KuvFuzz::PlainCanonical(input.date, input.method, input.host, input.path, input.content, input.isJson);
  input.authorization = "Basic " + KuvFuzz::PlainAuthorization(key, kUser, text);
  if (source.ConsumeBool()) {
    for (std::string* const later :
         {&input.method, &input.host, &input.path, &input.content, &input.date, &input.authorization})
      Change(source, *later);
    input.isJson = input.isJson != (source.ConsumeIntegralInRange(0, 9) == 0);
  }
  const std::int64_t skew = source.ConsumeBool() ? 300 : source.ConsumeIntegral<std::int64_t>();
  // Mostly at an end of the window.
  const std::int64_t offset = source.PickValueInArray<std::int64_t>({-301, -300, -299, 0, 299, 300, 301});
  const std::int64_t now = source.ConsumeBool() ? kNowCount + offset : source.ConsumeIntegral<std::int64_t>();

  const Credentials credentials =
      Credentials::FromValues({.host = kHost, .integrationKey = kUser, .secretKey = Secret{key}}).Value();
  const Blocks blocks{input};
  const ReceivedRequest request = blocks.View(input);
  const std::chrono::sys_seconds time{std::chrono::seconds{now}};
  const bool accepted = Verify(request, credentials, time, std::chrono::seconds{skew}) == Verdict::Accepted;
  Require(accepted == IsAccepted(input, key, now, skew), "verdict");
  const Rejection rejection = ExplainRejection(request, credentials, time, std::chrono::seconds{skew});
  Require(accepted == (rejection == Rejection::None), "explanation");
  return 0;
}
