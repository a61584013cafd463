#pragma once

#include <vector>

#include "FilterCheck/Machine/StoredKeys.h"

namespace FilterCheck {

/// A setting with what is stored of it in a key, and whether the library takes that.
struct StoredSetting {
  const RawValue* value = nullptr;
  bool taken = false;
};

/// All that is known of one setting.
struct JudgedSetting {
  SettingState state;
  StoredSetting policy;
  StoredSetting local;
};
using JudgedSettings = std::vector<JudgedSetting>;

/// Loads the record of the library anew and asks the library for the value of every setting. What is given
/// points into `keys`, which must be what the registry holds.
JudgedSettings JudgeSettings(const StoredKeys& keys);

/// Takes the library's record back to its start, and the secret in it out of memory.
void ForgetRecord() noexcept;

/// Gives one of them.
const JudgedSetting& Judged(const JudgedSettings& settings, std::string_view name);

/// Gives the stored value that counts; null for a default.
const RawValue* InForce(const JudgedSetting& setting);

/// Gives a number as the library reads it, with zeros for missing bytes.
std::uint32_t NumberOf(const RawValue& value);

}  // namespace FilterCheck
