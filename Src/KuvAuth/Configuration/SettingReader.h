#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "KuvAuth/Registry/Registry.h"

namespace Kuv {

/// Reads settings of the record from one open key, by the rules that they share. A value that is
/// absent, of another type or too long counts as absent: the operations answer false, log nothing and
/// leave their output alone.
class SettingReader {
 public:
  SettingReader(IRegistry& registry, HKEY key) noexcept : registry_(registry), key_(key) {}

  /// Reads a non-empty `REG_SZ` value of at most 1,024 bytes, up to its first NUL.
  bool ReadText(const char* name, std::string& text) const;
  /// Reads a `REG_DWORD` value. Its size is not looked at: bytes that a short one lacks keep what they
  /// are in `number`.
  bool ReadNumber(const char* name, std::uint32_t& number) const;
  /// Reads the `REG_MULTI_SZ` value `ProvidersWhitelist`, of at most 760 bytes, and replaces the list by
  /// its class identifiers. Each entry is logged; one that is no identifier is skipped.
  bool ReadWhitelist(std::vector<GUID>& whitelist) const;

 private:
  IRegistry& registry_;
  HKEY key_;
};

}  // namespace Kuv
