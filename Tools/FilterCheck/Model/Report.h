#pragma once

#include <windows.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Common/ProviderList.h"
#include "Common/Scenario.h"
#include "FilterCheck/Model/Finding.h"
#include "FilterCheck/Model/SettingsTable.h"

/// @file
/// Everything that a run found out, before it is shown. Texts are UTF-8 without control characters.

namespace FilterCheck {

/// The source of an effective value.
enum class Source : std::uint8_t { Default, Local, Policy };

/// A value as it is stored in one of the two keys.
struct StoredValue {
  DWORD type;         ///< the platform's number of the value type
  std::size_t bytes;  ///< the stored size
  std::string shown;  ///< the value; of `SKey` only "set" or "empty"
};

/// One setting, with its stored values and the effective one.
struct SettingState {
  const SettingInfo* setting;
  std::optional<StoredValue> policy;
  std::optional<StoredValue> local;
  /// The value that takes effect, as the library reads it; of `SKey` only "set" or "not set".
  std::string effective;
  Source source;
};

/// The registration of the filter in one of the two registry views, for 64-bit or for 32-bit programs.
struct RegisteredFilter {
  bool wow64;                         ///< the view of 32-bit programs
  std::optional<std::string> module;  ///< the path in the class key; nothing without a class key
  /// The class is registered for the current user alone, which the logon process ignores; `module` is nothing
  /// then.
  bool onlyForThisUser;
  std::string threadingModel;
  bool inFilterList;
  bool moduleExists;
  bool architectureFits;             ///< only for an existing module
  std::optional<bool> sameAsBeside;  ///< the file is the DLL installed with this program; nothing without one
};

/// Another filter in the list of filters.
struct OtherFilter {
  bool wow64;
  std::string identifier;
  std::string name;
  std::string module;  ///< empty if the class is missing
  bool moduleExists;
};

/// The registration of the filter and of others, and the platform's settings that affect the outcome.
struct Registration {
  std::array<RegisteredFilter, 2> filter;  ///< the 64-bit view, then the 32-bit one
  std::vector<OtherFilter> others;
  bool kuvProviderInstalled;
  bool kuvSmartCardProviderInstalled;
  bool kuvProviderExcluded;       ///< by the platform's ExcludedCredentialProviders
  std::string excludedProviders;  ///< the platform's ExcludedCredentialProviders, empty if not set
  std::string defaultProvider;    ///< the platform's DefaultCredentialProvider, empty if not set
  std::optional<std::uint32_t> prohibitFallbacks;
};

/// The kind of session: at the console, or over Remote Desktop.
enum class Session : std::uint8_t { Console, Remote };

/// The outcome of the filter's decision on a scenario.
enum class Outcome : std::uint8_t {
  Protected,    ///< only the allowed list stays
  Unprotected,  ///< the second-factor providers go, all others stay
  Untouched,    ///< every provider stays as the platform passed it
};

/// The decision on one scenario in one kind of session.
struct Decision {
  Tools::Scenario scenario;
  Session session;
  Outcome outcome;
  std::vector<bool> enabled;  ///< in the order of the providers
  /// The setting that decided, by its name in the table, or what is missing.
  std::string decidedBy;
  std::string value;  ///< its effective value; empty where no setting decided
  Source source;      ///< the source of that value
};

/// The decisions, and a sentence for each place where a user sees them.
struct DecisionReport {
  Tools::ProviderList providers;    ///< the installed ones; those of the platform by their stock names
  std::vector<Decision> decisions;  ///< each scenario at the console, then each over remote desktop
  std::string atConsole;            ///< "At the console a user sees ..."
  std::string overRemoteDesktop;
  std::string atElevation;
  bool inForce;  ///< at least one scenario is protected, with a Kuv provider to ask for the second factor
};

/// Settings, the findings about them and the decisions that follow, of the machine as it is or as it would
/// be.
struct Situation {
  std::vector<SettingState> settings;  ///< in the order of the table
  Findings findings;
  DecisionReport decision;
};

/// One `--what-if Setting=value`, as typed.
struct WhatIfSetting {
  const SettingInfo* setting;
  std::wstring value;
};

/// The results of a run.
struct Report {
  std::string machine;  ///< its name
  std::string time;     ///< the start of the run, in UTC: "2026-11-21T09:30:00Z"
  Situation now;
  std::vector<WhatIfSetting> whatIfSettings;
  std::optional<Situation> whatIf;  ///< the situation with those settings; nothing without any
  Registration registration;
  Findings registrationFindings;
};

}  // namespace FilterCheck
