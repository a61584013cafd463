#pragma once

#include "FilterCheck/Judgment/JudgedSettings.h"

namespace FilterCheck {

/// Runs the decision code of the filter for every scenario in both kinds of session. Throws
/// `Tools::ToolError` if that code fails although the settings are complete.
DecisionReport Decide(Tools::ProviderList providers, const JudgedSettings& settings);

/// Returns the findings about protected scenarios without a Kuv provider or without any provider.
Findings JudgeDecisions(const DecisionReport& report);

}  // namespace FilterCheck
