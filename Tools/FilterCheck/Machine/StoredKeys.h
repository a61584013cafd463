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
/// The two settings keys as they are stored, whatever the library takes of them.

namespace FilterCheck {

struct RawValue {
  std::wstring name;
  DWORD type;
  std::vector<std::uint8_t> data;
};

/// One settings key; one that is not there has no values.
struct StoredKey {
  bool exists = false;
  std::vector<RawValue> values;

  /// Gives the value of a name, compared without case; null if there is none.
  const RawValue* Find(std::string_view name) const;
  /// Gives the setting that one of the values is; null if it is none.
  const SettingInfo* SettingOf(const RawValue& value) const;
};

struct StoredKeys {
  StoredKey policy;
  StoredKey local;
};

/// Reads both keys. Throws `FilterHost::HostError`, also for a key that this user must not read.
StoredKeys ReadStoredKeys();

/// Gives the 16-bit units of a value, a single byte at its end left out.
std::wstring Units(const RawValue& value);

/// Gives the strings of a list, up to the first empty one.
std::vector<std::wstring> Strings(const RawValue& value);

/// Gives a value as it is shown; a secret only as "set" or "empty".
StoredValue Shown(const RawValue& value, const SettingInfo& setting);

/// Gives the platform's name of a type, "REG_SZ" for example.
std::string TypeName(DWORD type);

}  // namespace FilterCheck
