#include "KuvAuth/Signing/BasicAuthorization.h"

#include <array>
#include <cstdint>

#include "KuvAuth/Signing/SignatureEngine.h"

namespace Kuv::Signing {

namespace {

constexpr std::uint8_t kNoDigit = 0xFF;

constexpr std::array<std::uint8_t, 256> MakeDigits() {
  constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::array<std::uint8_t, 256> digits{};
  for (std::uint8_t& digit : digits) digit = kNoDigit;
  for (std::size_t i = 0; i < kAlphabet.size(); ++i)
    digits[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
  return digits;
}

constexpr std::array<std::uint8_t, 256> kBase64Digits = MakeDigits();

char ToLower(char character) noexcept {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

// Removes "Basic" in any case and the spaces after it. Returns whether both are there.
bool RemoveScheme(std::string_view& text) noexcept {
  constexpr std::string_view kScheme = "basic";
  if (text.size() < kScheme.size()) return false;
  for (std::size_t i = 0; i < kScheme.size(); ++i) {
    if (ToLower(text[i]) != kScheme[i]) return false;
  }
  text.remove_prefix(kScheme.size());
  const std::size_t spaces = text.find_first_not_of(' ');
  if (spaces == 0 || spaces == std::string_view::npos) return false;
  text.remove_prefix(spaces);
  return true;
}

}  // namespace

std::optional<BasicAuthorization> ParseBasicAuthorization(std::string_view text) {
  if (!RemoveScheme(text)) return std::nullopt;
  const std::optional<std::string> decoded = DecodeBase64(text);
  if (!decoded || decoded->size() <= kSignatureDigits) return std::nullopt;
  const std::size_t colon = decoded->size() - kSignatureDigits - 1;
  // The first colon ends the user (RFC 7617, section 2), so the identifier contains none.
  if (decoded->find(':') != colon) return std::nullopt;
  return BasicAuthorization{.identifier = decoded->substr(0, colon), .signature = decoded->substr(colon + 1)};
}

std::optional<std::string> DecodeBase64(std::string_view text) {
  constexpr std::size_t kGroup = 4;
  if (text.size() % kGroup != 0) return std::nullopt;
  std::size_t padding = 0;
  while (padding < 2 && text.ends_with('=')) {
    text.remove_suffix(1);
    ++padding;
  }
  std::string bytes;
  bytes.reserve(text.size() / kGroup * 3 + 2);
  std::uint32_t bits = 0;
  int count = 0;
  for (const char character : text) {
    const std::uint8_t digit = kBase64Digits[static_cast<unsigned char>(character)];
    if (digit == kNoDigit) return std::nullopt;
    bits = (bits << 6 | digit) & 0xFFFFu;
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(static_cast<std::uint8_t>(bits >> count));
  }
  if ((bits & ((1u << count) - 1)) != 0) return std::nullopt;
  return bytes;
}

}  // namespace Kuv::Signing
