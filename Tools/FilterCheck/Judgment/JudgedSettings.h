#pragma once

#include <vector>

#include "FilterCheck/Machine/StoredKeys.h"

namespace FilterCheck {

/// The value of a setting in one key, and whether the library accepts it.
struct StoredSetting {
  const RawValue* value = nullptr;
  bool taken = false;
};

/// A setting with its effective value and its stored values.
struct JudgedSetting {
  SettingState state;
  StoredSetting policy;
  StoredSetting local;
};
using JudgedSettings = std::vector<JudgedSetting>;

/// Reloads the configuration record of the library and reads the effective value of every setting from the
/// library. `keys` must be the content of the registry; the result refers to it.
JudgedSettings JudgeSettings(const StoredKeys& keys);

/// Resets the configuration record of the library and wipes the secret in it from memory.
void ForgetRecord() noexcept;

/// Returns the setting with this name, which must be in the list.
const JudgedSetting& Judged(const JudgedSettings& settings, std::string_view name);

/// Returns the stored value that takes effect, or null if the default takes effect.
const RawValue* InForce(const JudgedSetting& setting);

/// Returns a stored number as the library reads it, with zeros for missing bytes.
std::uint32_t NumberOf(const RawValue& value);

}  // namespace FilterCheck
