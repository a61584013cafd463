#pragma once

#include "FilterCheck/Model/Report.h"

namespace FilterCheck {

/// The values of `Decision::decidedBy` if no setting decided.
inline constexpr char kNoKuvProvider[] = "Kuv provider not installed";
inline constexpr char kNeverProtected[] = "never protected";

/// Returns what a user sees at the console, as a sentence.
std::string ConsoleSentence(const DecisionReport& report);

/// Returns what a user sees over Remote Desktop, as a sentence.
std::string RemoteSentence(const DecisionReport& report);

/// Returns what a user sees at an elevation prompt, as a sentence.
std::string ElevationSentence(const DecisionReport& report);

/// Returns whether the outcome is `Protected` and a Kuv provider is enabled.
bool AsksForSecondFactor(const DecisionReport& report, const Decision& decision);

/// Returns whether the outcome is `Protected` and no provider is enabled in at least one scenario.
bool KeepsEveryoneOut(const DecisionReport& report);

/// Returns "policy", "local setting" or "default".
std::string SourceText(Source source);

}  // namespace FilterCheck
