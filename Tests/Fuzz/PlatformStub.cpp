#include "PlatformStub.h"

#include <cctype>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/ServiceClient/Hashing.h"
#include "KuvAuth/Support/Text.h"

// Replaces the sources that need the platform: no log, and deterministic digests and conversions.

constinit std::shared_ptr<Kuv::LogSystem> g_logSystem;

void LogFormat(const LogRecord&, const char*, ...) {}

namespace KuvFuzz {

std::vector<std::uint8_t> StubDigest(const std::string& text) {
  if (text.starts_with('!')) return {};
  std::vector<std::uint8_t> digest(64);
  std::uint32_t state = 1;
  for (std::size_t i = 0; i < digest.size() + text.size(); ++i) {
    state = state * 16777619u ^ (i < text.size() ? static_cast<unsigned char>(text[i]) : 0u);
    digest[i % digest.size()] = static_cast<std::uint8_t>(state >> 24);
  }
  return digest;
}

std::string StubNarrow(const std::wstring& value) {
  std::string text;
  for (const wchar_t unit : value) {
    if (unit == 0) break;
    text += static_cast<char>(unit);
  }
  return text;
}

}  // namespace KuvFuzz

std::vector<std::uint8_t> Kuv::Util::CryptoHash(const std::string& text, std::uint32_t) {
  return KuvFuzz::StubDigest(text);
}

std::string WideToUtf8(const std::wstring& text) {
  return KuvFuzz::StubNarrow(text);
}

std::string ToLowerAscii(const std::string& text) {
  std::string lower;
  for (const char unit : text) lower += static_cast<char>(std::tolower(static_cast<unsigned char>(unit)));
  return lower;
}
