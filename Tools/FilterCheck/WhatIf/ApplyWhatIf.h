#pragma once

#include <span>

#include "FilterCheck/Machine/StoredKeys.h"

namespace FilterCheck {

/// Writes what-if values into what was read from the keys: to the policy key if that has the setting, else
/// to the local key. An empty value removes the setting from both. Throws `Tools::UsageError` for a value
/// that does not fit the setting's kind.
void ApplyWhatIf(StoredKeys& keys, std::span<const WhatIfSetting> settings);

}  // namespace FilterCheck
