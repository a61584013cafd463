#pragma once

#include <windows.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Common/ProviderList.h"
#include "Common/Scenario.h"
#include "FilterCheck/Model/Finding.h"
#include "FilterCheck/Model/Machine.h"
#include "FilterCheck/Model/SettingsTable.h"

/// @file
/// The results of a run. Texts are UTF-8 without control characters.

namespace FilterCheck {

/// The source of an effective value.
enum class Source : std::uint8_t { Default, Local, Policy };

/// A value as it is stored in one of the two keys.
struct StoredValue {
  DWORD type;         ///< the value type, for example `REG_SZ`
  std::size_t bytes;  ///< the stored size
  std::string shown;  ///< the value; for `SKey` only "set" or "empty"
};

/// A setting with its stored values and its effective value.
struct SettingState {
  const SettingInfo* setting;
  std::optional<StoredValue> policy;
  std::optional<StoredValue> local;
  /// The effective value as the library reads it; for `SKey` only "set" or "not set".
  std::string effective;
  Source source;
};

/// The registration of the filter in one of the two registry views, for 64-bit or for 32-bit programs.
struct RegisteredFilter {
  bool wow64;                         ///< the view of 32-bit programs
  std::optional<std::string> module;  ///< the path in the class key; no value without a class key
  /// The class is registered for the current user only, where the logon process does not look; `module` has
  /// no value.
  bool onlyForThisUser;
  std::string threadingModel;
  bool inFilterList;
  bool moduleExists;
  bool architectureFits;             ///< only for an existing module
  std::optional<bool> sameAsBeside;  ///< the file is the DLL of this program; no value without that DLL
  std::string architecture;          ///< the expected one: "x64", "ARM64" or "x86"
  std::string version;               ///< version of the module; empty if unavailable
};

/// Another filter in the list of filters.
struct OtherFilter {
  bool wow64;
  std::string identifier;
  std::string name;
  std::string module;  ///< empty if the class is missing
  bool moduleExists;
};

/// The registration of the filter, of other filters and of the Kuv providers, and the settings of Windows
/// that affect the result.
struct Registration {
  std::array<RegisteredFilter, 2> filter;  ///< the 64-bit view, then the 32-bit one
  std::vector<OtherFilter> others;
  bool kuvProviderInstalled;
  bool kuvSmartCardProviderInstalled;
  bool kuvProviderExcluded;       ///< by the policy value ExcludedCredentialProviders
  std::string excludedProviders;  ///< the policy value; empty if not set
  std::string defaultProvider;    ///< the policy value; empty if not set
  std::optional<std::uint32_t> prohibitFallbacks;
};

/// The kind of session: at the console, or over Remote Desktop.
enum class Session : std::uint8_t { Console, Remote };

/// What decided, for display.
struct Reason {
  std::string decidedBy;  ///< the name of a setting, or another fact
  std::string value;      ///< the effective value of the setting; empty if no setting decided
  Source source;          ///< the source of that value

  bool operator==(const Reason&) const = default;
};

/// The decision on one scenario in one kind of session.
struct Decision {
  Tools::Scenario scenario;
  Session session;
  Outcome outcome;
  std::vector<bool> enabled;  ///< in the order of the providers
  Reason because;
};

/// The decisions of the filter on the installed providers.
struct DecisionReport {
  Tools::ProviderList providers;
  std::vector<Decision> decisions;  ///< each scenario at the console, then each over Remote Desktop
};

/// The state of one kind of sign-in, from good to bad. It is that of its worst scenario.
enum class CoverageState : std::uint8_t {
  Required,        ///< protected, and only Kuv providers remain
  Alternatives,    ///< protected, and a Kuv provider remains beside others
  Off,             ///< not protected
  NoSecondFactor,  ///< protected, but only other providers remain
  Locked,          ///< no provider remains: no one can sign in
};

/// Whether one kind of sign-in requires the second factor.
struct Coverage {
  CoverageState state;
  std::vector<Tools::Provider> ways;  ///< the providers that remain beside the Kuv providers
  Reason because;
};

/// The exit codes of the program; `--help` lists the same numbers.
enum class ExitCode : std::uint8_t {
  Covered = 0,              ///< each required kind of sign-in is covered
  CoveredWithFindings = 1,  ///< the same, with warnings or problems
  NotCovered = 2,           ///< a required kind of sign-in is not covered
  Failed = 3,               ///< wrong usage or an internal error
};

/// The conclusion about a situation, as text of one line.
struct Verdict {
  ExitCode code;
  std::string text;
};

/// The settings, decisions, findings and the verdict for the machine, in its current state or with what-if
/// settings.
struct Situation {
  std::vector<SettingState> settings;  ///< in the order of the table
  DecisionReport decision;
  Findings findings;
  std::array<Coverage, kSignIns.size()> coverage;
  Verdict verdict;
};

/// The key that a what-if value is for. `Effective` is the policy key if that contains the setting, else the
/// local key.
enum class WhatIfKey : std::uint8_t { Effective, Policy, Local };

/// Returns the prefix of a setting in `--what-if`: "Policy:", "Local:" or an empty text.
constexpr std::string_view PrefixOf(WhatIfKey key) noexcept {
  constexpr std::array<std::string_view, 3> kPrefixes{"", "Policy:", "Local:"};
  return kPrefixes[static_cast<std::size_t>(key)];
}

/// One `--what-if Setting=value`, as entered.
struct WhatIfSetting {
  const SettingInfo* setting;
  std::wstring value;
  WhatIfKey key = WhatIfKey::Effective;
};

/// Why the decisions of the filter have no effect on the logon screen.
enum class Obstacle : std::uint8_t {
  None,
  NotLoaded,         ///< Windows does not load the filter
  SafeMode,          ///< Windows runs in safe mode, in which it does not apply the filter
  ProviderExcluded,  ///< a policy of Windows excludes the Kuv credential provider
};

/// The results of a run.
struct Report {
  Host host;
  std::string time;  ///< the start of the run, in UTC: "2026-11-21T09:30:00Z"
  Demand demand;
  Registration registration;
  Obstacle obstacle;
  Evidence evidence;
  Situation now;
  std::vector<WhatIfSetting> whatIfSettings;
  std::optional<Situation> whatIf;  ///< the situation with those settings; no value without any

  /// Returns the situation with the what-if settings or, without any, the current situation.
  const Situation& Subject() const noexcept { return whatIf ? *whatIf : now; }
};

}  // namespace FilterCheck
