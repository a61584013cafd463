#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace Kuv::Signing {

/// A secret key. It overwrites its bytes (`SecureZeroMemory`) when it is destroyed or assigned to. A move
/// hands over the only copy. It can be moved but not copied, does not convert to text, and cannot be printed
/// or compared.
class Secret {
 public:
  /// Creates an empty secret.
  Secret() noexcept = default;
  /// Copies a secret. The caller wipes its own copy, or uses `Secret::Take`. Throws `std::bad_alloc`.
  explicit Secret(std::string_view text);
  /// Copies a secret, then overwrites and empties `text`. Throws `std::bad_alloc` and does not change `text`
  /// then.
  [[nodiscard]] static Secret Take(std::string& text);

  /// Takes over the bytes; `other` is empty afterwards.
  Secret(Secret&& other) noexcept;
  /// Wipes the present bytes and takes over those of `other`, which is empty afterwards.
  Secret& operator=(Secret&& other) noexcept;
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;
  ~Secret();
  /// A comparison would take a time that depends on the secret.
  bool operator==(const Secret&) const = delete;

  /// Returns whether the secret has no bytes.
  [[nodiscard]] bool IsEmpty() const noexcept { return size_ == 0; }
  /// Returns the bytes for a signature, valid until the secret changes. Do not copy, print or store them. The
  /// pointer is null for an empty secret.
  [[nodiscard]] std::span<const std::byte> ExposeForSigning() const noexcept { return {bytes_.get(), size_}; }

 private:
  void Wipe() noexcept;

  std::unique_ptr<std::byte[]> bytes_;
  std::size_t size_ = 0;
};

}  // namespace Kuv::Signing
