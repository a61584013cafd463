#pragma once

#include "FilterCheck/Judgment/JudgedSettings.h"

namespace FilterCheck {

/// Gives the installed providers, with stock names where the registry has none; none at all is no error.
/// Throws `FilterHost::HostError`.
Tools::ProviderList InstalledProviders();

/// Asks the filter's own code for every scenario and kind of session. Throws `FilterHost::HostError`.
DecisionReport Decide(Tools::ProviderList providers, const JudgedSettings& settings);

/// Gives what an administrator should know about the outcome.
Findings JudgeDecisions(const DecisionReport& report);

}  // namespace FilterCheck
