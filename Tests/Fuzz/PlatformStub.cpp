#include "PlatformStub.h"

#include <cctype>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/ServiceClient/Hashing.h"
#include "KuvAuth/ServiceClient/SignatureParts.h"
#include "KuvAuth/Signing/Wipe.h"
#include "KuvAuth/Support/Text.h"

// Replaces the sources that need the platform: no log, and deterministic digests and conversions.

constinit std::shared_ptr<Kuv::LogSystem> g_logSystem;

void LogFormat(const LogRecord&, const char*, ...) {}

namespace KuvFuzz {

namespace {

std::vector<std::uint8_t> Mix(const std::string& text, std::size_t size, std::uint32_t state) {
  std::vector<std::uint8_t> digest(size);
  for (std::size_t i = 0; i < digest.size() + text.size(); ++i) {
    state = state * 16777619u ^ (i < text.size() ? static_cast<unsigned char>(text[i]) : 0u);
    digest[i % digest.size()] = static_cast<std::uint8_t>(state >> 24);
  }
  return digest;
}

}  // namespace

std::vector<std::uint8_t> StubDigest(const std::string& text) {
  if (text.starts_with('!')) return {};
  return Mix(text, 64, 1);
}

std::vector<std::uint8_t> StubHmac(const std::string& key, const std::string& text) {
  if (key.starts_with('!')) return {};
  // The size separates the two texts.
  return Mix(key + text, 20, static_cast<std::uint32_t>(key.size()) + 2);
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

namespace Kuv::Util {

namespace {

constexpr std::uint32_t kStubCode = 5;

std::string TextOf(const void* data, std::uint64_t length) {
  return {static_cast<const char*>(data), static_cast<std::size_t>(length)};
}

}  // namespace

std::vector<std::uint8_t> CryptoHash(const std::string& text, std::uint32_t) {
  return KuvFuzz::StubDigest(text);
}

ProviderContext::~ProviderContext() = default;

std::vector<std::uint8_t> ComputeHmac(ProviderContext&, const void* key, std::uint64_t keyLength,
                                      const void* data, std::uint64_t dataLength, FailedCall* failed) {
  std::vector<std::uint8_t> hmac = KuvFuzz::StubHmac(TextOf(key, keyLength), TextOf(data, dataLength));
  if (hmac.empty()) *failed = {"CryptImportKey", kStubCode};
  return hmac;
}

std::vector<std::uint8_t> ComputeDigest(ProviderContext&, const void* data, std::uint64_t length,
                                        std::uint32_t, FailedCall* failed) {
  std::vector<std::uint8_t> digest = KuvFuzz::StubDigest(TextOf(data, length));
  if (digest.empty()) *failed = {"CryptHashData", kStubCode};
  return digest;
}

bool FormatCurrentDate(std::string& date, FailedCall*) {
  date = KuvFuzz::kStubDate;
  return true;
}

}  // namespace Kuv::Util

void Kuv::Signing::WipeMemory(void* memory, std::size_t size) noexcept {
  volatile char* const bytes = static_cast<char*>(memory);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = 0;
}

std::string WideToUtf8(const std::wstring& text) {
  return KuvFuzz::StubNarrow(text);
}

std::string ToLowerAscii(const std::string& text) {
  std::string lower;
  for (const char unit : text) lower += static_cast<char>(std::tolower(static_cast<unsigned char>(unit)));
  return lower;
}
