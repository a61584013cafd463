#include "KuvAuth/ServiceClient/Hashing.h"

#include <windows.h>
#include <wincrypt.h>

#include <cstring>

#include "KuvAuth/ServiceClient/SystemCallFailure.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace Kuv::Util {

namespace {

using Bytes = std::vector<std::uint8_t>;

struct ProviderTraits {
  using Value = HCRYPTPROV;
  static Value None() noexcept { return 0; }
  static void Close(Value provider) noexcept { ::CryptReleaseContext(provider, /*dwFlags=*/0); }
};
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
using UniqueProvider = UniqueResource<ProviderTraits>;
using UniqueKey = UniqueResource<KeyTraits>;
using UniqueHash = UniqueResource<HashTraits>;

// The form in which CryptoAPI imports an HMAC key of any length: a plain text key blob with the algorithm
// RC2, which is not used. The destructor wipes the key.
class KeyBlob {
 public:
  KeyBlob() = default;
  KeyBlob(const KeyBlob&) = delete;
  KeyBlob& operator=(const KeyBlob&) = delete;
  ~KeyBlob() {
    if (!bytes_.empty()) ::SecureZeroMemory(bytes_.data(), bytes_.size());
  }

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

Bytes Fail(const char* call) {
  const DWORD code = ::GetLastError();
  LogSystemCallFailure(call, code);
  return {};
}

Bytes ReadHashValue(HCRYPTHASH hash, const char* lengthCall, const char* valueCall) {
  DWORD length = 0;
  if (::CryptGetHashParam(hash, HP_HASHVAL, nullptr, &length, /*dwFlags=*/0) == FALSE)
    return Fail(lengthCall);
  Bytes value(length);
  if (::CryptGetHashParam(hash, HP_HASHVAL, value.data(), &length, /*dwFlags=*/0) == FALSE)
    return Fail(valueCall);
  value.resize(length);
  return value;
}

}  // namespace

Bytes CalculateHmac(const void* key, std::uint64_t keyLength, const void* data, std::uint64_t dataLength) {
  if (key == nullptr || data == nullptr) return {};
  // Declared in the reverse of the required order of release: hash, key, unused hash, blob, context.
  UniqueProvider provider;
  KeyBlob blob;
  UniqueHash unusedHash;
  UniqueKey hmacKey;
  UniqueHash hash;

  if (::CryptAcquireContextW(provider.Put(), nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT) == FALSE) {
    return Fail("Kuv::Util::CalculateHmac CryptAcquireContext");
  }
  // Not used, but part of the required order of calls.
  if (::CryptCreateHash(provider.Get(), CALG_SHA1, /*hKey=*/0, /*dwFlags=*/0, unusedHash.Put()) == FALSE) {
    return Fail("Kuv::Util::CalculateHmac CryptCreateHash (1)");
  }
  blob.Fill(key, keyLength);
  if (::CryptImportKey(provider.Get(), blob.Data(), blob.Length(), /*hPubKey=*/0, CRYPT_IPSEC_HMAC_KEY,
                       hmacKey.Put()) == FALSE) {
    return Fail("Kuv::Util::CalculateHmac CryptImportKey");
  }
  if (::CryptCreateHash(provider.Get(), CALG_HMAC, hmacKey.Get(), /*dwFlags=*/0, hash.Put()) == FALSE) {
    return Fail("Kuv::Util::CalculateHmac CryptCreateHash (2)");
  }
  HMAC_INFO info{};  // null pads select the standard ones
  info.HashAlgid = CALG_SHA1;
  if (::CryptSetHashParam(hash.Get(), HP_HMAC_INFO, reinterpret_cast<const BYTE*>(&info), /*dwFlags=*/0) ==
      FALSE) {
    return Fail("Kuv::Util::CalculateHmac CryptSetHashParam (HP_HMAC_INFO)");
  }
  if (::CryptHashData(hash.Get(), static_cast<const BYTE*>(data), static_cast<DWORD>(dataLength),
                      /*dwFlags=*/0) == FALSE) {
    return Fail("Kuv::Util::CalculateHmac CryptHashData (Hashing data)");
  }
  // The first text says "Set" for a call that gets; the text is required.
  return ReadHashValue(hash.Get(), "Kuv::Util::CalculateHmac CryptSetHashParam (Hash Length)",
                       "Kuv::Util::CalculateHmac CryptGetHashParam (Hash Result)");
}

Bytes CalculateHmac(const std::string& key, const std::string& data) {
  return CalculateHmac(key.data(), key.size(), data.data(), data.size());
}

Bytes CryptoHash(const std::string& text, std::uint32_t algorithm) {
  UniqueProvider provider;
  UniqueHash hash;
  if (::CryptAcquireContextW(provider.Put(), nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT) == FALSE) {
    return Fail("CryptoHash:CryptAcquireContext");
  }
  if (::CryptCreateHash(provider.Get(), algorithm, /*hKey=*/0, /*dwFlags=*/0, hash.Put()) == FALSE) {
    return Fail("CryptoHash::CryptCreateHash");
  }
  if (::CryptHashData(hash.Get(), reinterpret_cast<const BYTE*>(text.data()), static_cast<DWORD>(text.size()),
                      /*dwFlags=*/0) == FALSE) {
    return Fail("CryptoHash:CryptHashData");
  }
  return ReadHashValue(hash.Get(), "CryptoHash:CryptGetHashParam() Hash Size)",
                       "CryptoHash:CryptGetHashParam(HP_HASHVAL)");
}

}  // namespace Kuv::Util
