#pragma once

#include <span>

#include "FilterCheck/Machine/StoredKeys.h"

namespace FilterCheck {

/// Writes what-if values to their keys in memory, in order. The value "-" removes the setting from its key,
/// or from both keys if none is named. An empty value also removes it if no key is named, and is an empty
/// text or list otherwise. Throws `Tools::UsageError` for a value that is invalid for the kind of setting.
void ApplyWhatIf(StoredKeys& keys, std::span<const WhatIfSetting> settings);

}  // namespace FilterCheck
