#pragma once

#include <span>
#include <string>

#include "FilterCheck/Machine/StoredKeys.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace FilterCheck {

/// Writes assumed values into what was read of the keys: to the policy key if that holds the setting, else to
/// the local one; an empty value takes the setting out of both. Throws `FilterHost::HostError` for a value
/// that does not fit the setting's kind.
void Assume(StoredKeys& keys, std::span<const Assumption> assumptions);

/// Shows this process, while it lives, a private `HKEY_LOCAL_MACHINE` that holds these two keys and nothing
/// else. The real one is not written. Throws `FilterHost::HostError`.
class PrivateSettings {
 public:
  explicit PrivateSettings(const StoredKeys& keys);
  ~PrivateSettings();
  PrivateSettings(const PrivateSettings&) = delete;
  PrivateSettings& operator=(const PrivateSettings&) = delete;

 private:
  /// What the root stood for before; null for the machine itself.
  Kuv::UniqueRegistryKey before_;
  std::wstring path_;
};

}  // namespace FilterCheck
