#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "FilterCheck/Model/Report.h"
#include "FilterCheck/Model/SettingsTable.h"

/// @file
/// The stored values of the two settings keys, including those that the library ignores.

namespace FilterCheck {

/// A registry value with its bytes.
struct RawValue {
  std::wstring name;
  DWORD type;
  std::vector<std::uint8_t> data;
};

/// One settings key, without values if it does not exist.
struct StoredKey {
  bool exists = false;
  std::vector<RawValue> values;

  /// Returns the value with this name, compared case-insensitively, or null if there is none.
  const RawValue* Find(std::string_view name) const;
  /// Returns the setting of one of the values, or null if the value is not a setting.
  const SettingInfo* SettingOf(const RawValue& value) const;
};

/// Both settings keys.
struct StoredKeys {
  StoredKey policy;
  StoredKey local;
};

/// Reads both keys. Throws `Tools::ToolError` if a key cannot be read, for example without access rights.
StoredKeys ReadStoredKeys();

/// Returns the 16-bit units of a value, without an odd last byte.
std::wstring Units(const RawValue& value);

/// Returns the strings of a list, up to the first empty one.
std::vector<std::wstring> Strings(const RawValue& value);

/// Returns a value for display; a secret only as "set" or "empty".
StoredValue Shown(const RawValue& value, const SettingInfo& setting);

/// Returns the name of a value type, for example "REG_SZ".
std::string TypeName(DWORD type);

}  // namespace FilterCheck
