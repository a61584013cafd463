#pragma once

#include "FilterCheck/Model/Report.h"

namespace FilterCheck {

/// The reasons of decisions that no setting decided.
inline constexpr char kNoKuvProvider[] = "Kuv provider not installed";
inline constexpr char kNeverProtected[] = "never protected";

/// Describe in a sentence what a user sees at the console, over Remote Desktop and at an elevation prompt.
std::string ConsoleSentence(const DecisionReport& report);
std::string RemoteSentence(const DecisionReport& report);
std::string ElevationSentence(const DecisionReport& report);

/// Returns true if only the allowed list stays, and it includes a Kuv provider to ask for the second factor.
bool AsksForSecondFactor(const DecisionReport& report, const Decision& decision);

/// Returns true if the filter leaves no provider in at least one scenario.
bool KeepsEveryoneOut(const DecisionReport& report);

/// Returns "policy", "local setting" or "default".
std::string SourceText(Source source);

}  // namespace FilterCheck
