#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "FuzzSupport.h"
#include "PlatformStub.h"

// Simple reference implementations for the targets of the signing layer.
namespace KuvFuzz {

inline const std::string kUpperCase = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
inline const std::string kLettersAndDigits = kUpperCase + "abcdefghijklmnopqrstuvwxyz0123456789";

inline bool HasOnly(const std::string& text, const std::string& allowed) {
  return text.find_first_not_of(allowed) == std::string::npos;
}

/// Returns all visible ASCII characters except these.
inline std::string VisibleWithout(const std::string& excluded) {
  std::string visible;
  for (char character = '!'; character <= '~'; ++character) {
    if (excluded.find(character) == std::string::npos) visible += character;
  }
  return visible;
}

inline bool IsMethod(const std::string& text) {
  return !text.empty() && HasOnly(text, VisibleWithout("\"(),/:;<=>?@[\\]{}abcdefghijklmnopqrstuvwxyz"));
}

inline bool IsHost(const std::string& text) {
  const bool bracketed = text.size() > 2 && text.front() == '[' && text.back() == ']';
  const std::string inner = bracketed ? text.substr(1, text.size() - 2) : text;
  return !inner.empty() && HasOnly(inner, kLettersAndDigits + ".-_" + (bracketed ? ":" : ""));
}

inline bool IsPath(const std::string& text) {
  return text.starts_with('/') && HasOnly(text, VisibleWithout("?#"));
}

inline bool IsDate(const std::string& text) {
  return !text.empty() && text.front() != ' ' && text.back() != ' ' &&
         HasOnly(text, VisibleWithout("") + " ");
}

inline bool IsUser(const std::string& text) {
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 32 || byte == 127 || byte == ':') return false;
  }
  return !text.empty();
}

inline std::string Digits(const std::vector<std::uint8_t>& bytes, const char* digits) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += digits[byte / 16];
    text += digits[byte % 16];
  }
  return text;
}

/// Encodes bit by bit.
inline std::string PlainBase64(const std::string& bytes) {
  std::string bits;
  for (const char character : bytes) {
    for (int bit = 7; bit >= 0; --bit)
      bits += (static_cast<unsigned char>(character) >> bit & 1) != 0 ? '1' : '0';
  }
  while (bits.size() % 6 != 0) bits += '0';
  std::string text;
  for (std::size_t i = 0; i < bits.size(); i += 6)
    text += (kLettersAndDigits + "+/")[std::stoul(bits.substr(i, 6), nullptr, 2)];
  while (text.size() % 4 != 0) text += '=';
  return text;
}

/// Returns the text to sign.
inline std::string PlainCanonical(const std::string& date, const std::string& method, const std::string& host,
                                  const std::string& path, const std::string& content, bool isJson) {
  return date + "\n" + method + "\n" + host + "\n" + path + "\n" +
         (isJson ? "\n" + Digits(StubDigest(content), "0123456789abcdef") : content);
}

/// Returns the value of the `Authorization` header after "Basic ".
inline std::string PlainAuthorization(const std::string& key, const std::string& user,
                                      const std::string& text) {
  return PlainBase64(user + ":" + Digits(StubHmac(key, text), "0123456789ABCDEF"));
}

}  // namespace KuvFuzz
