#pragma once

#include <windows.h>

#include <utility>

#include "KuvAuth/Registry/Registry.h"

namespace Kuv {

/// Owns a key that an `IRegistry` has opened and closes it through that registry.
class OpenedKey {
 public:
  /// Takes ownership of `key`, which `registry` has opened; null for none.
  OpenedKey(IRegistry& registry, HKEY key) noexcept : registry_(registry), key_(key) {}
  OpenedKey(const OpenedKey&) = delete;
  OpenedKey& operator=(const OpenedKey&) = delete;
  ~OpenedKey() { Close(); }

  /// Returns the key, or null after `Close`.
  HKEY Get() const noexcept { return key_; }

  /// Closes the key and returns the status. Further calls do nothing and return `ERROR_SUCCESS`.
  LSTATUS Close() {
    const HKEY key = std::exchange(key_, nullptr);
    return key == nullptr ? ERROR_SUCCESS : registry_.CloseKey(key);
  }

 private:
  IRegistry& registry_;
  HKEY key_;
};

}  // namespace Kuv
