#include "KuvAuth/Signing/FieldRules.h"

#include <algorithm>

#include "KuvAuth/ServiceClient/Encoders.h"
#include "KuvAuth/Signing/SizeSum.h"

namespace Kuv::Signing {

namespace {

constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kUpperCase = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::string_view kLowerCase = "abcdefghijklmnopqrstuvwxyz";

bool Contains(std::string_view set, char character) noexcept {
  return set.find(character) != std::string_view::npos;
}

bool IsVisible(char character) noexcept {
  return character > 0x20 && character < 0x7F;
}

bool IsControl(char character) noexcept {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7F;
}

bool IsUpperCaseOrDigit(char character) noexcept {
  return Contains(kUpperCase, character) || Contains(kDigits, character);
}

bool IsLetterOrDigit(char character) noexcept {
  return IsUpperCaseOrDigit(character) || Contains(kLowerCase, character);
}

template <typename Rule>
std::optional<Reason> CheckEach(std::string_view text, Rule allowed) noexcept {
  if (text.empty()) return Reason::Empty;
  if (!std::all_of(text.begin(), text.end(), allowed)) return Reason::InvalidCharacter;
  return std::nullopt;
}

std::optional<Failure> FailField(std::optional<Reason> reason, std::string field) {
  if (!reason) return std::nullopt;
  return Failure{.reason = *reason, .field = std::move(field)};
}

std::optional<Failure> CheckParameters(const Util::ParameterList& parameters) {
  for (const auto& [name, value] : parameters) {
    if (const std::optional<Reason> reason = CheckParameterValue(value))
      return FailField(reason, "parameters." + Util::PercentEncode(name));
  }
  return std::nullopt;
}

}  // namespace

std::optional<Reason> CheckMethod(std::string_view text) noexcept {
  return CheckEach(text, [](char character) {
    return IsUpperCaseOrDigit(character) || Contains("!#$%&'*+-.^_`|~", character);
  });
}

std::optional<Reason> CheckHost(std::string_view text) noexcept {
  if (text.size() > kMaximumSize) return Reason::TooLong;
  const bool bracketed = text.size() > 2 && text.front() == '[' && text.back() == ']';
  if (bracketed) text = text.substr(1, text.size() - 2);
  return CheckEach(text, [bracketed](char character) {
    return IsLetterOrDigit(character) || Contains(".-_", character) || (bracketed && character == ':');
  });
}

std::optional<Reason> CheckPath(std::string_view text) noexcept {
  if (!text.empty() && text.front() != '/') return Reason::InvalidCharacter;
  return CheckEach(text, [](char character) { return IsVisible(character) && !Contains("?#", character); });
}

std::optional<Reason> CheckDate(std::string_view text) noexcept {
  if (!text.empty() && (text.front() == ' ' || text.back() == ' ')) return Reason::InvalidCharacter;
  return CheckEach(text, [](char character) { return IsVisible(character) || character == ' '; });
}

std::optional<Reason> CheckIntegrationKey(std::string_view text) noexcept {
  if (text.size() > kMaximumSize) return Reason::TooLong;
  return CheckEach(text, [](char character) { return !IsControl(character) && character != ':'; });
}

std::optional<Reason> CheckParameterValue(std::wstring_view text) noexcept {
  const auto isHigh = [](wchar_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; };
  const auto isLow = [](wchar_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; };
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == 0) return Reason::InvalidCharacter;
    if (isHigh(text[i])) {
      ++i;
      if (i == text.size() || !isLow(text[i])) return Reason::InvalidEncoding;
    } else if (isLow(text[i])) {
      return Reason::InvalidEncoding;
    }
  }
  return std::nullopt;
}

bool IsParameterText(std::string_view text) noexcept {
  return std::all_of(text.begin(), text.end(), [](char character) {
    return IsLetterOrDigit(character) || Contains("-._~%=&", character);
  });
}

std::optional<Failure> CheckRequest(const Request& request) {
  // First, so that the other checks take a limited time.
  if (IsTooLarge(request)) return FailField(Reason::TooLong, "request");
  if (auto failure = FailField(CheckMethod(request.method), "method")) return failure;
  if (auto failure = FailField(CheckPath(request.path), "path")) return failure;
  if (request.date) {
    if (auto failure = FailField(CheckDate(*request.date), "date")) return failure;
  }
  if (const auto* const parameters = std::get_if<Util::ParameterList>(&request.content))
    return CheckParameters(*parameters);
  if (HasNoBody(request.method)) return FailField(Reason::BodyNotAllowed, "body");
  return std::nullopt;
}

bool IsTooLarge(const Request& request) noexcept {
  SizeSum sum;
  sum.Add(request.method.size());
  sum.Add(request.path.size());
  if (request.date) sum.Add(request.date->size());
  if (const auto* const body = std::get_if<JsonBody>(&request.content)) sum.Add(body->text.size());
  if (const auto* const parameters = std::get_if<Util::ParameterList>(&request.content)) {
    for (const auto& [name, value] : *parameters) {
      sum.Add(name.size());
      sum.Add(value.size());
    }
  }
  return sum.IsTooLarge();
}

}  // namespace Kuv::Signing
