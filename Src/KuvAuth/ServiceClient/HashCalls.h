#pragma once

#include <cstdint>
#include <utility>
#include <vector>

/// @file
/// The implementation of `CalculateHmac` and `CryptoHash`, for callers that keep a provider context open or
/// need the failed call as a result.

namespace Kuv::Util {

/// A call of the platform that failed.
struct FailedCall {
  const char* function = nullptr;  ///< the name of the function, or null if no call failed
  std::uint32_t code = 0;          ///< the result of `GetLastError`
};

/// Owns a provider context (an `HCRYPTPROV`), 0 for none; released with `CryptReleaseContext`.
class ProviderContext {
 public:
  ProviderContext() noexcept = default;
  ProviderContext(ProviderContext&& other) noexcept : handle_(std::exchange(other.handle_, 0)) {}
  ProviderContext& operator=(ProviderContext&&) = delete;
  ProviderContext(const ProviderContext&) = delete;
  ProviderContext& operator=(const ProviderContext&) = delete;
  ~ProviderContext();

  /// Opens the context unless it is open. `type` is a provider type. Returns false on failure.
  bool Open(std::uint32_t type) noexcept;
  std::uintptr_t Get() const noexcept { return handle_; }

 private:
  std::uintptr_t handle_ = 0;
};

/// Does what `CalculateHmac` does, with a context for `PROV_RSA_FULL` that is opened unless it is open. A
/// call that fails is reported to `failed`, or logged if that is null. Neither `key` nor `data` may be null.
std::vector<std::uint8_t> ComputeHmac(ProviderContext& provider, const void* key, std::uint64_t keyLength,
                                      const void* data, std::uint64_t dataLength, FailedCall* failed);

/// Does what `CryptoHash` does, with a context for `PROV_RSA_AES`, in the same way. `data` can be null for a
/// length of 0.
std::vector<std::uint8_t> ComputeDigest(ProviderContext& provider, const void* data, std::uint64_t length,
                                        std::uint32_t algorithm, FailedCall* failed);

}  // namespace Kuv::Util
