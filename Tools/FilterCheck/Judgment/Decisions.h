#pragma once

#include "FilterCheck/Judgment/JudgedSettings.h"

namespace FilterCheck {

/// Runs the decision code of the filter for every scenario in both kinds of session, with the settings that
/// `JudgeSettings` loaded. Throws `Tools::ToolError` if that code fails although the settings are complete.
DecisionReport Decide(Tools::ProviderList providers, const JudgedSettings& settings);

}  // namespace FilterCheck
