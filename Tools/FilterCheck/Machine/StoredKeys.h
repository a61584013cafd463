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
/// The two settings keys as they are stored, whether the library accepts their values or not.

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

  /// Returns the value of a name, compared without case, or null if there is none.
  const RawValue* Find(std::string_view name) const;
  /// Returns the setting that one of the values belongs to, or null if it has no setting's name.
  const SettingInfo* SettingOf(const RawValue& value) const;
};

/// Both settings keys.
struct StoredKeys {
  StoredKey policy;
  StoredKey local;
};

/// Reads both keys. Throws `Tools::ToolError`, also if this user may not read a key.
StoredKeys ReadStoredKeys();

/// Returns the 16-bit units of a value, without an odd byte at its end.
std::wstring Units(const RawValue& value);

/// Returns the strings of a list, up to the first empty one.
std::vector<std::wstring> Strings(const RawValue& value);

/// Returns a value in the form that is shown; a secret only as "set" or "empty".
StoredValue Shown(const RawValue& value, const SettingInfo& setting);

/// Returns the platform's name of a value type, "REG_SZ" for example.
std::string TypeName(DWORD type);

}  // namespace FilterCheck
