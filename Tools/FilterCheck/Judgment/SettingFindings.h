#pragma once

#include "FilterCheck/Judgment/JudgedSettings.h"

namespace FilterCheck {

/// What is wrong with single stored values: type, size, end, range.
Findings JudgeValues(const JudgedSettings& settings);

/// What is wrong with settings together: missing, hidden, discarded or useless ones.
Findings JudgeCombinations(const StoredKeys& keys, const JudgedSettings& settings);

/// What is wrong with the `Host` that counts. The record of the library must have been loaded.
Findings JudgeHost();

/// What is wrong with the entries of the whitelist that counts.
Findings JudgeWhitelist(const JudgedSettings& settings, const Tools::ProviderList& providers);

/// Values that no setting has the name of.
Findings JudgeNames(const StoredKeys& keys);

}  // namespace FilterCheck
