#pragma once

#include <vector>

#include "FilterCheck/Machine/StoredKeys.h"

namespace FilterCheck {

/// The value of a setting in one key, and whether the library accepts it.
struct StoredSetting {
  const RawValue* value = nullptr;
  bool taken = false;
};

/// Everything that is known about one setting.
struct JudgedSetting {
  SettingState state;
  StoredSetting policy;
  StoredSetting local;
};
using JudgedSettings = std::vector<JudgedSetting>;

/// Reloads the configuration record of the library and asks the library for the value of every setting. The
/// result points into `keys`, which must be what the registry contains.
JudgedSettings JudgeSettings(const StoredKeys& keys);

/// Resets the configuration record of the library, and wipes the secret in it from memory.
void ForgetRecord() noexcept;

/// Returns the setting of a name, which must be in the list.
const JudgedSetting& Judged(const JudgedSettings& settings, std::string_view name);

/// Returns the stored value that takes effect, or null if the default does.
const RawValue* InForce(const JudgedSetting& setting);

/// Returns a stored number as the library reads it, with zeros for missing bytes.
std::uint32_t NumberOf(const RawValue& value);

}  // namespace FilterCheck
