#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// @file
/// Digests made by the platform's CryptoAPI. Each call takes a provider context of its own and releases
/// it; nothing is kept, and any thread may call. An empty result is the only sign of failure: the platform
/// call that failed has been logged at `Error` with its code. Neither key, data nor result is ever logged.
namespace Kuv::Util {

/// Gives the 20 bytes of the HMAC-SHA-1 (RFC 2104) of the data under the key, both with their lengths in
/// bytes. A null pointer gives an
/// empty result without a log line; a length of 0 with a real pointer is valid. The platform is handed
/// the low 32 bits of the data's length; of a key longer than 4 GB it sees no more than the low 32 bits
/// of its length tell.
std::vector<std::uint8_t> CalculateHmac(const void* key, std::uint64_t keyLength, const void* data,
                                        std::uint64_t dataLength);
/// The same for the bytes of two texts.
std::vector<std::uint8_t> CalculateHmac(const std::string& key, const std::string& data);

/// Gives the digest of the text's bytes under a platform algorithm (an ALG_ID of the provider type
/// PROV_RSA_AES), for example CALG_SHA_512 (0x800E) for the 64 bytes of SHA-512 (FIPS 180-4). An empty
/// text has a digest like any other.
std::vector<std::uint8_t> CryptoHash(const std::string& text, std::uint32_t algorithm);

}  // namespace Kuv::Util
