// Compares the encoders with those of other libraries. Each comparison includes a result string, as our
// functions return one. "raw" comparisons write to an existing buffer and have no goal.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <memory>

#include <curl/curl.h>
#include <glib.h>
#include <modp_b16.h>
#include <modp_b64.h>
#include <modp_burl.h>
#include <nettle/base16.h>
#include <openssl/evp.h>

#include "KuvAuth/ServiceClient/Encoders.h"
#include "Support/SizedComparison.h"

namespace {

using KuvBench::Content;
using KuvBench::Goal;
using KuvBench::Measured;

constexpr Goal kAhead{1.0};
constexpr Goal kNone{};

// Text that another library has allocated.
template <auto Release>
struct Releaser {
  void operator()(char* text) const { Release(text); }
};
template <auto Release>
using Owned = std::unique_ptr<char, Releaser<Release>>;
using GlibText = Owned<g_free>;
using CurlText = Owned<curl_free>;

std::string AsText(const GlibText& text) {
  return text.get();
}
std::string AsText(const CurlText& text) {
  return text ? text.get() : "no text";
}

// nettle writes lower-case digits only.
struct LowerText {
  std::string text;
};
std::string AsText(LowerText lower) {
  std::transform(lower.text.begin(), lower.text.end(), lower.text.begin(),
                 [](char digit) { return digit >= 'a' ? static_cast<char>(digit - 'a' + 'A') : digit; });
  return lower.text;
}

char* RawBuffer(std::size_t size) {
  static std::string buffer(3 * 16777216 + 1, '\0');
  return size < buffer.size() ? buffer.data() : nullptr;
}

std::string OpenSslBase64(const std::string& input) {
  std::string text((input.size() + 2) / 3 * 4, '\0');
  EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                  reinterpret_cast<const unsigned char*>(input.data()), static_cast<int>(input.size()));
  return text;
}

std::string_view OpenSslBase64Raw(const std::string& input) {
  char* const buffer = RawBuffer(2 * input.size());
  const int size =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(buffer),
                      reinterpret_cast<const unsigned char*>(input.data()), static_cast<int>(input.size()));
  return {buffer, static_cast<std::size_t>(size)};
}

GlibText GlibBase64(const std::string& input) {
  return GlibText{g_base64_encode(reinterpret_cast<const guchar*>(input.data()), input.size())};
}

// Does the same as the string functions in the headers of modp.
template <std::size_t (*Encode)(char*, const char*, std::size_t)>
std::string Modp(const std::string& input, std::size_t room) {
  std::string text(room, '\0');
  text.erase(Encode(text.data(), input.data(), input.size()));
  return text;
}

template <std::size_t (*Encode)(char*, const char*, std::size_t)>
std::string_view ModpRaw(const std::string& input) {
  char* const buffer = RawBuffer(3 * input.size());
  return {buffer, Encode(buffer, input.data(), input.size())};
}

LowerText NettleHex(const std::string& input) {
  std::string text(BASE16_ENCODE_LENGTH(input.size()), '\0');
  base16_encode_update(text.data(), input.size(), reinterpret_cast<const std::uint8_t*>(input.data()));
  return {std::move(text)};
}

void RegisterBase64() {
  const auto ours = [](const std::string& input) {
    return Kuv::Util::Base64Encode(input.data(), input.size());
  };
  const auto modp = [](const std::string& input) {
    return Modp<modp_b64_encode>(input, modp_b64_encode_len(input.size()));
  };
  KuvBench::RegisterSizes(Content::Bytes, {"Base64Encode", kNone, ours},
                          {{"OpenSSL EVP_EncodeBlock", kAhead, OpenSslBase64},
                           {"GLib g_base64_encode", kAhead, GlibBase64},
                           {"modp b64_encode", kAhead, modp},
                           {"raw EVP_EncodeBlock", kNone, OpenSslBase64Raw},
                           {"raw modp_b64_encode", kNone, ModpRaw<modp_b64_encode>}});
}

void RegisterHex() {
  const auto ours = [](const std::string& input) {
    return Kuv::Util::AtlHexEncode(input.data(), input.size());
  };
  const auto modp = [](const std::string& input) {
    return Modp<modp_b16_encode>(input, modp_b16_encode_len(input.size()));
  };
  KuvBench::RegisterSizes(Content::Bytes, {"AtlHexEncode", kNone, ours},
                          {{"nettle base16", kAhead, NettleHex},
                           {"modp b16_encode", kAhead, modp},
                           {"raw modp_b16_encode", kNone, ModpRaw<modp_b16_encode>}});
}

void RegisterPercent(const char* name, Content content, CURL* curl) {
  const auto ours = [](const std::string& input) { return Kuv::Util::PercentEncode(input); };
  const auto glib = [](const std::string& input) {
    return GlibText{g_uri_escape_string(input.c_str(), /*reserved_chars_allowed=*/nullptr, FALSE)};
  };
  const auto escape = [curl](const std::string& input) {
    return CurlText{curl_easy_escape(curl, input.data(), static_cast<int>(input.size()))};
  };
  const auto modp = [](const std::string& input) {
    return Modp<modp_burl_encode>(input, modp_burl_encode_len(input.size()));
  };
  KuvBench::RegisterSizes(content, {name, kNone, ours},
                          {{"GLib g_uri_escape_string", kAhead, glib},
                           {"curl_easy_escape", kAhead, escape},
                           {"modp url_encode", kAhead, modp},
                           {"raw modp_burl_encode", kNone, ModpRaw<modp_burl_encode>}});
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl{curl_easy_init(), curl_easy_cleanup};
    RegisterBase64();
    RegisterHex();
    RegisterPercent("PercentEncode of parameters", Content::Parameters, curl.get());
    RegisterPercent("PercentEncode of words", Content::Words, curl.get());
    RegisterPercent("PercentEncode of bytes", Content::Bytes, curl.get());
    return KuvBench::RunBenchmarks(argc, argv);
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "EncoderBenchmarks: %s\n", exception.what());
    return 1;
  }
}
