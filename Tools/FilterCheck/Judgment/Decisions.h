#pragma once

#include "FilterCheck/Judgment/JudgedSettings.h"

namespace FilterCheck {

/// Asks the filter's own code about every scenario in every kind of session. Throws `Tools::ToolError` if
/// that code fails although the settings are complete.
DecisionReport Decide(Tools::ProviderList providers, const JudgedSettings& settings);

/// Returns the findings about the outcome: screens without a second factor, or without any provider.
Findings JudgeDecisions(const DecisionReport& report);

}  // namespace FilterCheck
