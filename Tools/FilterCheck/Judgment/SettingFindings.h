#pragma once

#include "FilterCheck/Judgment/JudgedSettings.h"

/// @file
/// The findings about settings. Implemented in ValueFindings.cpp, CombinationFindings.cpp, HostFindings.cpp,
/// WhitelistFindings.cpp and NameFindings.cpp.

namespace FilterCheck {

/// Returns the findings about single stored values: type, size, terminator, range.
Findings JudgeValues(const JudgedSettings& settings);

/// Returns the findings about combinations of settings: missing, overridden, ignored or ineffective ones.
Findings JudgeCombinations(const StoredKeys& keys, const JudgedSettings& settings);

/// Returns the findings about the effective `Host`. The configuration record must be loaded.
Findings JudgeHost();

/// Returns the findings about the entries of the effective whitelist.
Findings JudgeWhitelist(const JudgedSettings& settings, const Tools::ProviderList& providers);

/// Returns the findings about values that are not settings.
Findings JudgeNames(const StoredKeys& keys);

}  // namespace FilterCheck
