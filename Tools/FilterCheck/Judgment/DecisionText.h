#pragma once

#include "FilterCheck/Model/Report.h"

namespace FilterCheck {

/// What stands as the reason of a decision that no setting made.
inline constexpr char kNoKuvProvider[] = "Kuv provider not installed";
inline constexpr char kNeverProtected[] = "never protected";

/// What a user meets at each of the three places, in a sentence.
std::string ConsoleSentence(const DecisionReport& report);
std::string RemoteSentence(const DecisionReport& report);
std::string ElevationSentence(const DecisionReport& report);

/// Whether only the allowed list stays, and a Kuv provider is on the screen to ask for the second factor.
bool AsksForSecondFactor(const DecisionReport& report, const Decision& decision);

/// Whether the filter leaves no provider at all somewhere.
bool KeepsEveryoneOut(const DecisionReport& report);

/// Gives "policy", "local setting" or "default".
std::string SourceText(Source source);

}  // namespace FilterCheck
