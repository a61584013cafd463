#pragma once

#include <string>

#include "FilterCheck/Machine/StoredKeys.h"

namespace FilterCheck {

/// Redirects `HKEY_LOCAL_MACHINE` of this process to a private, volatile key that contains these two keys
/// and nothing else, and restores it on destruction. Does not write to the real keys. Throws
/// `Tools::ToolError`.
class PrivateSettings {
 public:
  explicit PrivateSettings(const StoredKeys& keys);
  ~PrivateSettings();
  PrivateSettings(const PrivateSettings&) = delete;
  PrivateSettings& operator=(const PrivateSettings&) = delete;

 private:
  std::wstring path_;
};

}  // namespace FilterCheck
