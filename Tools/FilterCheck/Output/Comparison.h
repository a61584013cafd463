#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "FilterCheck/Model/Report.h"

/// @file
/// What the table and the page show: the situation that the run is about, and how it differs from today.
/// Without what-if settings it does not differ.

namespace FilterCheck {

/// Whether a user sees a provider, and how that differs from today.
enum class Cell : std::uint8_t { Shown, Hidden, Appears, Disappears };

/// The decisions for one kind of session, or for both where they are the same.
struct Matrix {
  std::vector<Session> sessions;
  std::vector<const Decision*> columns;  ///< one for each scenario
  std::vector<std::vector<Cell>> rows;   ///< one for each provider
};

/// Returns one matrix if both kinds of session have the same decisions, today and with the what-if settings,
/// else two.
std::vector<Matrix> Matrices(const Report& report);

/// A setting, with its state of today if that differs.
struct ComparedSetting {
  const SettingState* state;
  const SettingState* today;  ///< null if nothing changes
};
/// Returns all settings, compared with today.
std::vector<ComparedSetting> CompareSettings(const Report& report);

/// How a finding differs from today.
enum class Change : std::uint8_t { Same, Appears, Disappears };

/// A finding, compared with today.
struct ComparedFinding {
  Finding finding;
  Change change;
};
/// Returns the findings, the most severe first, followed by those that disappear.
std::vector<ComparedFinding> CompareFindings(const Report& report);

std::string_view NameOf(Session session) noexcept;    ///< "console"
std::string_view NameOf(Outcome outcome) noexcept;    ///< "protected"
std::string_view NameOf(Source source) noexcept;      ///< "policy"
std::string_view NameOf(Severity severity) noexcept;  ///< "problem"

/// Returns the place of a session for a sentence: "at the console".
std::string_view PlaceOf(Session session) noexcept;

/// A line of name and value.
struct Fact {
  std::string name;
  std::string value;
};
/// Returns the registration as lines of name and value.
std::vector<Fact> RegistrationFacts(const Registration& registration);

/// Returns the what-if settings as typed, "RdpOnly=1", but without the letters of a secret.
std::vector<std::string> WhatIfTexts(const Report& report);

/// Returns a what-if value in the form that may be shown; a secret only as "set" or "empty".
std::string WhatIfValue(const WhatIfSetting& whatIf);

}  // namespace FilterCheck
