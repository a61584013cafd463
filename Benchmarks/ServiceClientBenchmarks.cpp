// Compares the encoders and digests of the service client with those of Windows and the digests with
// libgcrypt.

#include <windows.h>
#include <wincrypt.h>

#include <cstdio>
#include <exception>

#ifdef KUV_HAVE_GCRYPT
#include <gcrypt.h>
#endif

#include "KuvAuth/ServiceClient/Encoders.h"
#include "KuvAuth/ServiceClient/Hashing.h"
#include "Support/SizedComparison.h"

namespace {

using KuvBench::Content;
using KuvBench::Goal;
using KuvBench::Measured;
using Bytes = std::vector<std::uint8_t>;

constexpr Goal kAhead{1.0};
constexpr Goal kSame{1.03};
constexpr Goal kNone{};
const std::string kKey = "0123456789abcdef0123456789abcdef01234567";

const BYTE* BytesOf(const std::string& text) {
  return reinterpret_cast<const BYTE*>(text.data());
}

// Queries the size, including the NUL, and then encodes into a string.
template <DWORD Format>
std::string PlatformText(const std::string& input) {
  const auto count = static_cast<DWORD>(input.size());
  DWORD size = 0;
  ::CryptBinaryToStringA(BytesOf(input), count, Format | CRYPT_STRING_NOCRLF, nullptr, &size);
  std::string text(size, '\0');
  ::CryptBinaryToStringA(BytesOf(input), count, Format | CRYPT_STRING_NOCRLF, text.data(), &size);
  text.resize(size);
  return text;
}

// The digits of CryptBinaryToStringA are in lower case.
struct LowerText {
  std::string text;
};
std::string AsText(LowerText lower) {
  ::CharUpperBuffA(lower.text.data(), static_cast<DWORD>(lower.text.size()));
  return lower.text;
}
LowerText PlatformHex(const std::string& input) {
  return {PlatformText<CRYPT_STRING_HEXRAW>(input)};
}

struct KeptTable {
  KeptTable() {
    for (const char kept : "-.0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz~")
      flags[static_cast<unsigned char>(kept)] = kept != '\0';
  }
  bool flags[256] = {};
};
const KeptTable kKept;

// Encodes one character after the other with the same set of characters.
std::string PlainPercent(const std::string& input) {
  std::string text;
  text.reserve(3 * input.size());
  for (const char character : input) {
    const auto byte = static_cast<unsigned char>(character);
    if (kKept.flags[byte]) {
      text += character;
    } else {
      text += '%';
      text += "0123456789ABCDEF"[byte >> 4];
      text += "0123456789ABCDEF"[byte & 0xF];
    }
  }
  return text;
}

std::string OurPercent(const std::string& input) {
  return Kuv::Util::PercentEncode(input);
}

Bytes BareHashValue(HCRYPTHASH hash) {
  DWORD size = 0;
  ::CryptGetHashParam(hash, HP_HASHVAL, nullptr, &size, 0);
  Bytes value(size);
  ::CryptGetHashParam(hash, HP_HASHVAL, value.data(), &size, 0);
  return value;
}

// Calls the same functions as `CalculateHmac` without checking the results.
Bytes BareHmac(const std::string& data) {
  HCRYPTPROV provider = 0;
  HCRYPTHASH unused = 0;
  HCRYPTKEY key = 0;
  HCRYPTHASH hash = 0;
  ::CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT);
  ::CryptCreateHash(provider, CALG_SHA1, 0, 0, &unused);
  Bytes blob{
      PLAINTEXTKEYBLOB, CUR_BLOB_VERSION, 0, 0, 0x02, 0x66, 0, 0, static_cast<BYTE>(kKey.size()), 0, 0, 0};
  blob.insert(blob.end(), kKey.begin(), kKey.end());
  ::CryptImportKey(provider, blob.data(), static_cast<DWORD>(blob.size()), 0, CRYPT_IPSEC_HMAC_KEY, &key);
  ::CryptCreateHash(provider, CALG_HMAC, key, 0, &hash);
  HMAC_INFO info{};
  info.HashAlgid = CALG_SHA1;
  ::CryptSetHashParam(hash, HP_HMAC_INFO, reinterpret_cast<const BYTE*>(&info), 0);
  ::CryptHashData(hash, BytesOf(data), static_cast<DWORD>(data.size()), 0);
  Bytes value = BareHashValue(hash);
  ::CryptDestroyHash(hash);
  ::CryptDestroyKey(key);
  ::CryptDestroyHash(unused);
  ::CryptReleaseContext(provider, 0);
  return value;
}

// Calls the same functions as `CryptoHash` without checking the results.
Bytes BareSha512(const std::string& data) {
  HCRYPTPROV provider = 0;
  HCRYPTHASH hash = 0;
  ::CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT);
  ::CryptCreateHash(provider, CALG_SHA_512, 0, 0, &hash);
  ::CryptHashData(hash, BytesOf(data), static_cast<DWORD>(data.size()), 0);
  Bytes value = BareHashValue(hash);
  ::CryptDestroyHash(hash);
  ::CryptReleaseContext(provider, 0);
  return value;
}

#ifdef KUV_HAVE_GCRYPT
// Returns the digest or, with a key, the HMAC.
Bytes GcryptDigest(int algorithm, const std::string* key, const std::string& data) {
  gcry_md_hd_t handle = nullptr;
  gcry_md_open(&handle, algorithm, key != nullptr ? GCRY_MD_FLAG_HMAC : 0);
  if (key != nullptr) gcry_md_setkey(handle, key->data(), key->size());
  gcry_md_write(handle, data.data(), data.size());
  const unsigned char* const value = gcry_md_read(handle, algorithm);
  Bytes digest{value, value + gcry_md_get_algo_dlen(algorithm)};
  gcry_md_close(handle);
  return digest;
}

void AddGcrypt(std::vector<Measured>& baselines, int algorithm, const std::string* key) {
  baselines.emplace_back("libgcrypt", kNone,
                         [=](const std::string& input) { return GcryptDigest(algorithm, key, input); });
}
#endif

void RegisterEncoders() {
  KuvBench::RegisterSizes(
      Content::Bytes,
      {"Base64Encode", kNone,
       [](const std::string& input) { return Kuv::Util::Base64Encode(input.data(), input.size()); }},
      {{"CryptBinaryToStringA", kAhead, PlatformText<CRYPT_STRING_BASE64>}});
  KuvBench::RegisterSizes(
      Content::Bytes,
      {"AtlHexEncode", kNone,
       [](const std::string& input) { return Kuv::Util::AtlHexEncode(input.data(), input.size()); }},
      {{"CryptBinaryToStringA", kAhead, PlatformHex}});
  KuvBench::RegisterSizes(Content::Parameters, {"PercentEncode of parameters", kNone, OurPercent},
                          {{"plain loop", kAhead, PlainPercent}});
  KuvBench::RegisterSizes(Content::Words, {"PercentEncode of words", kNone, OurPercent},
                          {{"plain loop", kAhead, PlainPercent}});
}

void RegisterDigests() {
  std::vector<Measured> hmacBaselines{{"bare CryptoAPI calls", kSame, BareHmac}};
  std::vector<Measured> hashBaselines{{"bare CryptoAPI calls", kSame, BareSha512}};
#ifdef KUV_HAVE_GCRYPT
  gcry_check_version(nullptr);
  gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
  gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
  AddGcrypt(hmacBaselines, GCRY_MD_SHA1, &kKey);
  AddGcrypt(hashBaselines, GCRY_MD_SHA512, nullptr);
#endif
  KuvBench::RegisterSizes(Content::Bytes,
                          {"CalculateHmac", kNone,
                           [](const std::string& input) { return Kuv::Util::CalculateHmac(kKey, input); }},
                          hmacBaselines, KuvBench::Pace::Slow);
  KuvBench::RegisterSizes(
      Content::Bytes,
      {"CryptoHash, SHA-512", kNone,
       [](const std::string& input) { return Kuv::Util::CryptoHash(input, CALG_SHA_512); }},
      hashBaselines, KuvBench::Pace::Slow);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    RegisterEncoders();
    RegisterDigests();
    return KuvBench::RunBenchmarks(argc, argv);
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "ServiceClientBenchmarks: %s\n", exception.what());
    return 1;
  }
}
