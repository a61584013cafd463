#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "KuvAuth/ServiceClient/ByteView.h"

/// @file
/// Digests computed by CryptoAPI. Each call acquires and releases its own provider context. All functions are
/// thread-safe. On failure they return an empty result and log the failed call and its code at `Error`. They
/// never log keys, data or results.
namespace Kuv::Util {

/// Returns the 20 bytes of the HMAC-SHA-1 (RFC 2104) of the data under the key; both lengths are in bytes.
/// Returns an empty result and logs nothing for a null pointer; a length of 0 is valid. Uses only the low 32
/// bits of each length.
[[nodiscard]] std::vector<std::uint8_t> CalculateHmac(const void* key, std::uint64_t keyLength,
                                                      const void* data, std::uint64_t dataLength);
/// Does the same for the bytes of two texts.
[[nodiscard]] std::vector<std::uint8_t> CalculateHmac(const std::string& key, const std::string& data);
/// Does the same for two views, or a view and a text, without a copy. An empty view is valid.
template <ByteInput Key, ByteInput Data>
requires(ByteView<Key> || ByteView<Data>)
    [[nodiscard]] std::vector<std::uint8_t> CalculateHmac(const Key& key, const Data& data) {
  const std::span<const std::byte> keyBytes = AsBytes(key);
  const std::span<const std::byte> dataBytes = AsBytes(data);
  return CalculateHmac(keyBytes.data(), keyBytes.size(), dataBytes.data(), dataBytes.size());
}

/// Returns the digest of the text by an algorithm (an `ALG_ID` of the provider type `PROV_RSA_AES`), for
/// example `CALG_SHA_512` (0x800E) for the 64 bytes of SHA-512 (FIPS 180-4). The text can be empty.
/// Uses only the low 32 bits of its length: of a text of 4 GiB or more, only the start is digested.
[[nodiscard]] std::vector<std::uint8_t> CryptoHash(const std::string& text, std::uint32_t algorithm);
/// Does the same for `length` bytes, of which only the low 32 bits are used. Returns an empty result and logs
/// nothing for a null pointer.
[[nodiscard]] std::vector<std::uint8_t> CryptoHash(const void* data, std::uint64_t length,
                                                   std::uint32_t algorithm);
/// Does the same for a view, without a copy.
template <ByteView View>
[[nodiscard]] std::vector<std::uint8_t> CryptoHash(const View& view, std::uint32_t algorithm) {
  const std::span<const std::byte> bytes = AsBytes(view);
  return CryptoHash(bytes.data(), bytes.size(), algorithm);
}

}  // namespace Kuv::Util
