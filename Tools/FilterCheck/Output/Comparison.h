#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "FilterCheck/Model/Report.h"

/// @file
/// What the table and the page show: the situation that the run is about, and what is other in it than
/// today. Without assumptions nothing is.

namespace FilterCheck {

/// Whether a user sees a provider.
enum class Cell : std::uint8_t { Shown, Hidden, Appears, Disappears };

/// The decisions for one kind of session, or for both where they are the same.
struct Matrix {
  std::vector<Session> sessions;
  std::vector<const Decision*> columns;  ///< one for each scenario
  std::vector<std::vector<Cell>> rows;   ///< one for each provider
};

/// Gives one matrix if both kinds of session get the same answers, today and as assumed, else two.
std::vector<Matrix> Matrices(const Report& report);

/// A setting, with its state of today if that is another.
struct ComparedSetting {
  const SettingState* state;
  const SettingState* today;  ///< null if nothing changes
};
std::vector<ComparedSetting> CompareSettings(const Report& report);

enum class Change : std::uint8_t { Same, Appears, Disappears };

struct ComparedFinding {
  Finding finding;
  Change change;
};
/// Gives the findings, the gravest first, and behind them those that would be gone.
std::vector<ComparedFinding> CompareFindings(const Report& report);

std::string_view NameOf(Session session) noexcept;    ///< "console"
std::string_view NameOf(Outcome outcome) noexcept;    ///< "protected"
std::string_view NameOf(Source source) noexcept;      ///< "policy"
std::string_view NameOf(Severity severity) noexcept;  ///< "problem"

/// Gives a session's place in a sentence: "at the console".
std::string_view PlaceOf(Session session) noexcept;

struct Fact {
  std::string name;
  std::string value;
};
/// Gives the registration as lines of name and value.
std::vector<Fact> RegistrationFacts(const Registration& registration);

/// Gives the assumptions as typed, "RdpOnly=1". A secret is not told.
std::vector<std::string> WhatIfTexts(const Report& report);

/// Gives the assumed value as it may be shown.
std::string WhatIfValue(const WhatIfSetting& assumption);

}  // namespace FilterCheck
