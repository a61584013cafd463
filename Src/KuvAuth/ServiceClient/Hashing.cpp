#include "KuvAuth/ServiceClient/Hashing.h"

#include <windows.h>
#include <wincrypt.h>

#include <cstring>

#include "KuvAuth/ServiceClient/HashCalls.h"
#include "KuvAuth/ServiceClient/SystemCallFailure.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace Kuv::Util {

namespace {

using Bytes = std::vector<std::uint8_t>;

struct KeyTraits {
  using Value = HCRYPTKEY;
  static Value None() noexcept { return 0; }
  static void Close(Value key) noexcept { ::CryptDestroyKey(key); }
};
struct HashTraits {
  using Value = HCRYPTHASH;
  static Value None() noexcept { return 0; }
  static void Close(Value hash) noexcept { ::CryptDestroyHash(hash); }
};
using UniqueKey = UniqueResource<KeyTraits>;
using UniqueHash = UniqueResource<HashTraits>;

// The form in which CryptoAPI imports an HMAC key of any length: a plain text key blob with the algorithm
// RC2, which is not used. The destructor wipes the key.
class KeyBlob {
 public:
  KeyBlob() = default;
  KeyBlob(const KeyBlob&) = delete;
  KeyBlob& operator=(const KeyBlob&) = delete;
  ~KeyBlob() { ::SecureZeroMemory(bytes_.data(), bytes_.size()); }

  void Fill(const void* key, std::uint64_t keyLength) {
    Header header{};
    header.blob.bType = PLAINTEXTKEYBLOB;
    header.blob.bVersion = CUR_BLOB_VERSION;
    header.blob.aiKeyAlg = CALG_RC2;
    header.keyLength = static_cast<DWORD>(keyLength);
    // The import reads no more than a 32-bit length of bytes, so no more of the key is copied.
    length_ = static_cast<DWORD>(sizeof(header) + keyLength);
    const std::size_t copied = length_ > sizeof(header) ? length_ - sizeof(header) : 0;
    bytes_.resize(sizeof(header) + copied);
    std::memcpy(bytes_.data(), &header, sizeof(header));
    if (copied != 0) std::memcpy(bytes_.data() + sizeof(header), key, copied);
  }

  const BYTE* Data() const noexcept { return bytes_.data(); }
  DWORD Length() const noexcept { return length_; }

 private:
  struct Header {
    BLOBHEADER blob;
    DWORD keyLength;
  };
  static_assert(sizeof(Header) == 12);

  Bytes bytes_;
  DWORD length_ = 0;
};

// A call that can fail: its text in the log and the name of the function.
struct CallName {
  const char* logged;
  const char* function;
};

// Runs before the destructors of the caller's resources, so that the log line precedes their release.
Bytes Fail(const CallName& call, FailedCall* failed) {
  const DWORD code = ::GetLastError();
  if (failed != nullptr) {
    *failed = {call.function, code};
  } else {
    LogSystemCallFailure(call.logged, code);
  }
  return {};
}

// The names of the two calls that read a value.
struct ValueCalls {
  CallName length;
  CallName value;
};

Bytes ReadHashValue(HCRYPTHASH hash, const ValueCalls& calls, FailedCall* failed) {
  DWORD length = 0;
  if (::CryptGetHashParam(hash, HP_HASHVAL, nullptr, &length, /*dwFlags=*/0) == FALSE)
    return Fail(calls.length, failed);
  Bytes value(length);
  if (::CryptGetHashParam(hash, HP_HASHVAL, value.data(), &length, /*dwFlags=*/0) == FALSE)
    return Fail(calls.value, failed);
  value.resize(length);
  return value;
}

// The first text says "Set" for a call that gets; the texts are required.
constexpr ValueCalls kHmacValue{
    {"Kuv::Util::CalculateHmac CryptSetHashParam (Hash Length)", "CryptGetHashParam"},
    {"Kuv::Util::CalculateHmac CryptGetHashParam (Hash Result)", "CryptGetHashParam"}};
constexpr ValueCalls kDigestValue{{"CryptoHash:CryptGetHashParam() Hash Size)", "CryptGetHashParam"},
                                  {"CryptoHash:CryptGetHashParam(HP_HASHVAL)", "CryptGetHashParam"}};

}  // namespace

ProviderContext::~ProviderContext() {
  if (handle_ == 0) return;
  const DWORD lastError = ::GetLastError();
  ::CryptReleaseContext(handle_, /*dwFlags=*/0);
  ::SetLastError(lastError);
}

bool ProviderContext::Open(std::uint32_t type) noexcept {
  if (handle_ != 0) return true;
  HCRYPTPROV handle = 0;
  if (::CryptAcquireContextW(&handle, nullptr, nullptr, type, CRYPT_VERIFYCONTEXT) == FALSE) return false;
  handle_ = handle;
  return true;
}

Bytes ComputeHmac(ProviderContext& provider, const void* key, std::uint64_t keyLength, const void* data,
                  std::uint64_t dataLength, FailedCall* failed) {
  // Declared in the reverse of the required order of release: hash, key, unused hash, blob. The context,
  // which is released last, is the caller's.
  KeyBlob blob;
  UniqueHash unusedHash;
  UniqueKey hmacKey;
  UniqueHash hash;

  if (!provider.Open(PROV_RSA_FULL))
    return Fail({"Kuv::Util::CalculateHmac CryptAcquireContext", "CryptAcquireContextW"}, failed);
  // Not used, but part of the required order of calls.
  if (::CryptCreateHash(provider.Get(), CALG_SHA1, /*hKey=*/0, /*dwFlags=*/0, unusedHash.Put()) == FALSE)
    return Fail({"Kuv::Util::CalculateHmac CryptCreateHash (1)", "CryptCreateHash"}, failed);
  blob.Fill(key, keyLength);
  if (::CryptImportKey(provider.Get(), blob.Data(), blob.Length(), /*hPubKey=*/0, CRYPT_IPSEC_HMAC_KEY,
                       hmacKey.Put()) == FALSE) {
    return Fail({"Kuv::Util::CalculateHmac CryptImportKey", "CryptImportKey"}, failed);
  }
  if (::CryptCreateHash(provider.Get(), CALG_HMAC, hmacKey.Get(), /*dwFlags=*/0, hash.Put()) == FALSE)
    return Fail({"Kuv::Util::CalculateHmac CryptCreateHash (2)", "CryptCreateHash"}, failed);
  HMAC_INFO info{};  // null pads select the standard ones
  info.HashAlgid = CALG_SHA1;
  if (::CryptSetHashParam(hash.Get(), HP_HMAC_INFO, reinterpret_cast<const BYTE*>(&info), /*dwFlags=*/0) ==
      FALSE) {
    return Fail({"Kuv::Util::CalculateHmac CryptSetHashParam (HP_HMAC_INFO)", "CryptSetHashParam"}, failed);
  }
  if (::CryptHashData(hash.Get(), static_cast<const BYTE*>(data), static_cast<DWORD>(dataLength),
                      /*dwFlags=*/0) == FALSE) {
    return Fail({"Kuv::Util::CalculateHmac CryptHashData (Hashing data)", "CryptHashData"}, failed);
  }
  return ReadHashValue(hash.Get(), kHmacValue, failed);
}

Bytes ComputeDigest(ProviderContext& provider, const void* data, std::uint64_t length,
                    std::uint32_t algorithm, FailedCall* failed) {
  UniqueHash hash;
  if (!provider.Open(PROV_RSA_AES))
    return Fail({"CryptoHash:CryptAcquireContext", "CryptAcquireContextW"}, failed);
  if (::CryptCreateHash(provider.Get(), algorithm, /*hKey=*/0, /*dwFlags=*/0, hash.Put()) == FALSE)
    return Fail({"CryptoHash::CryptCreateHash", "CryptCreateHash"}, failed);
  if (::CryptHashData(hash.Get(), static_cast<const BYTE*>(data), static_cast<DWORD>(length),
                      /*dwFlags=*/0) == FALSE) {
    return Fail({"CryptoHash:CryptHashData", "CryptHashData"}, failed);
  }
  return ReadHashValue(hash.Get(), kDigestValue, failed);
}

Bytes CalculateHmac(const void* key, std::uint64_t keyLength, const void* data, std::uint64_t dataLength) {
  if (key == nullptr || data == nullptr) return {};
  ProviderContext provider;
  return ComputeHmac(provider, key, keyLength, data, dataLength, /*failed=*/nullptr);
}

Bytes CalculateHmac(const std::string& key, const std::string& data) {
  return CalculateHmac(key.data(), key.size(), data.data(), data.size());
}

Bytes CryptoHash(const std::string& text, std::uint32_t algorithm) {
  return CryptoHash(text.data(), text.size(), algorithm);
}

Bytes CryptoHash(const void* data, std::uint64_t length, std::uint32_t algorithm) {
  if (data == nullptr) return {};
  ProviderContext provider;
  return ComputeDigest(provider, data, length, algorithm, /*failed=*/nullptr);
}

}  // namespace Kuv::Util
