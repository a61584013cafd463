#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "FilterCheck/Model/Report.h"

/// @file
/// The content of the text report and the HTML page: a situation and its differences from the current state.
/// Without what-if settings there are no differences.

namespace FilterCheck {

/// What a shown provider means for the second factor.
enum class Role : std::uint8_t {
  Plain,         ///< nothing: it is hidden, or the second factor is not required there
  SecondFactor,  ///< it asks for the second factor on a protected screen
  WayAround,     ///< users can select it on a protected screen instead
};

/// Whether a user sees a provider.
struct Cell {
  bool shown;
  bool changes;  ///< the opposite is true today
  Role role;     ///< `Plain` if the decisions of the filter have no effect
};

/// The decisions for one kind of session, or for both if they are the same.
struct Matrix {
  std::vector<Session> sessions;
  std::vector<const Decision*> columns;  ///< one for each scenario
  std::vector<std::vector<Cell>> rows;   ///< one for each provider
};

/// Returns one matrix if both kinds of session have the same decisions, today and with the what-if settings,
/// else two.
std::vector<Matrix> Matrices(const Report& report);

/// A setting and, if it differs, its current state.
struct ComparedSetting {
  const SettingState* state;
  const SettingState* today;  ///< null if the setting does not change
};
/// Returns all settings, compared with the current state.
std::vector<ComparedSetting> CompareSettings(const Report& report);

/// How a finding differs from the current state.
enum class Change : std::uint8_t { Same, Appears, Disappears };

/// A finding, compared with the current state.
struct ComparedFinding {
  Finding finding;
  Change change;
};
/// Returns the findings, the most severe first, followed by those that disappear.
std::vector<ComparedFinding> CompareFindings(const Report& report);

std::string_view NameOf(Session session) noexcept;      ///< "console"
std::string_view NameOf(Source source) noexcept;        ///< "policy"
std::string_view NameOf(WhatIfKey key) noexcept;        ///< "effective"
std::string_view NameOf(Severity severity) noexcept;    ///< "problem"
std::string_view NameOf(CoverageState state) noexcept;  ///< "no-second-factor"
std::string_view NameOf(Obstacle obstacle) noexcept;    ///< "not-loaded"

/// How bad a result is, for its color: good, caution or bad.
enum class Risk : std::uint8_t { Good, Caution, Bad };

/// Returns the risk of a coverage state.
Risk RiskOf(CoverageState state) noexcept;

/// Returns the risk of a situation: good only if every kind of sign-in requires the second factor and there
/// are neither warnings nor problems.
Risk RiskOf(const Situation& situation) noexcept;

/// Returns the names of the providers that remain beside the Kuv providers, each with what it asks for.
std::vector<std::string> WayTexts(const Coverage& coverage);

/// Returns what the decisions show: "What users see", or what they would see if Windows loaded the filter.
std::string_view MatrixTitle(const Report& report) noexcept;

/// Returns the phrase for a session in a sentence: "at the console".
std::string_view PlaceOf(Session session) noexcept;

/// A name and its value.
struct Fact {
  std::string name;
  std::string value;
};
/// Returns the versions and the state of the machine.
std::vector<Fact> MachineFacts(const Host& host);
/// Returns what the log shows.
std::vector<Fact> EvidenceFacts(const Evidence& evidence);
/// Returns the registration as names and values.
std::vector<Fact> RegistrationFacts(const Registration& registration);

/// Returns the what-if settings for display, for example "RdpOnly=1"; a secret only as "(set)" or "(empty)".
std::vector<std::string> WhatIfTexts(const Report& report);

/// Returns a what-if value for display; a secret only as "set" or "empty".
std::string WhatIfValue(const WhatIfSetting& whatIf);

}  // namespace FilterCheck
