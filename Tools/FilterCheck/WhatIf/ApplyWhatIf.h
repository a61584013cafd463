#pragma once

#include <span>

#include "FilterCheck/Machine/StoredKeys.h"

namespace FilterCheck {

/// Writes what-if values to the stored keys in memory: to the policy key if that contains the setting, else
/// to the local key. An empty value removes the setting from both. Throws `Tools::UsageError` for a value
/// that is invalid for the kind of setting.
void ApplyWhatIf(StoredKeys& keys, std::span<const WhatIfSetting> settings);

}  // namespace FilterCheck
