#pragma once

#include <string>

#include "FilterCheck/Model/Report.h"

/// @file
/// Whether each kind of sign-in requires the second factor.

namespace FilterCheck {

/// The values of `Reason::decidedBy` if no setting decided.
inline constexpr char kNoKuvProvider[] = "Kuv provider not installed";
inline constexpr char kNeverProtected[] = "never protected";
inline constexpr char kFilterNotLoaded[] = "filter not loaded";
inline constexpr char kSafeMode[] = "safe mode";
inline constexpr char kKuvProviderExcluded[] = "Kuv provider excluded";

/// Returns why the decisions of the filter have no effect.
Obstacle ObstacleOf(const Registration& registration, const Host& host);

/// Returns the coverage of each kind of sign-in. With an obstacle, every state is `Off`. If the filter runs
/// nevertheless, the other ways are those that its decisions leave.
std::array<Coverage, kSignIns.size()> CoverageOf(const DecisionReport& report, Obstacle obstacle);

/// Returns the findings about kinds of sign-in that are protected without a Kuv provider, and about every way
/// around the second factor. They describe what the filter decides, whether Windows loads it or not.
Findings JudgeCoverage(const DecisionReport& report, Obstacle obstacle);

/// Returns the start of a finding about decisions that have no effect now: "If Windows loaded the filter: ",
/// or an empty text if the filter runs.
std::string_view LeadOf(Obstacle obstacle) noexcept;

/// Returns the phrase for a kind of sign-in in a sentence: "at the console".
std::string_view PlaceOf(SignIn kind) noexcept;

/// Returns the reason as a clause: "RdpOnly is 1 (local setting)".
std::string TextOf(const Reason& reason);

/// Joins texts: "a, b and c" with the word "and".
std::string Joined(const std::vector<std::string>& texts, std::string_view word);

}  // namespace FilterCheck
