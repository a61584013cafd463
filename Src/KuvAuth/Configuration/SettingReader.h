#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <guiddef.h>

#include "KuvAuth/Registry/Registry.h"

namespace Kuv {

/// Reads settings of the record from one open key. If a value is absent, has another type or is too long, the
/// functions return false, log nothing and do not change their output.
class SettingReader {
 public:
  SettingReader(IRegistry& registry, HKEY key) noexcept : registry_(registry), key_(key) {}

  /// Reads a `REG_SZ` value of 1 to 1,024 bytes with its NUL, up to the first NUL, in the ANSI code page. The
  /// text can be empty. Wipes its own copy.
  bool ReadText(const char* name, std::string& text) const;
  /// Reads a `REG_DWORD` value. Does not check its size: a shorter value changes only the first bytes of
  /// `number`.
  bool ReadNumber(const char* name, std::uint32_t& number) const;
  /// Reads the `REG_MULTI_SZ` value `ProvidersWhitelist`, of at most 760 bytes, and replaces the list with
  /// its class identifiers. Logs each entry and skips those that are not class identifiers.
  bool ReadWhitelist(std::vector<GUID>& whitelist) const;

 private:
  IRegistry& registry_;
  HKEY key_;
};

}  // namespace Kuv
