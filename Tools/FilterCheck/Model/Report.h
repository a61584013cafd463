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
/// All that a run found out, before it is shown. Texts are UTF-8 with nothing that moves a cursor.

namespace FilterCheck {

/// Where an effective value comes from.
enum class Source : std::uint8_t { Default, Local, Policy };

/// A value as it is stored in one of the two keys.
struct StoredValue {
  DWORD type;         ///< the platform's number of the type
  std::size_t bytes;  ///< the stored size
  std::string shown;  ///< the value; of `SKey` only "set" or "empty"
};

/// One setting with what is stored and what takes effect.
struct SettingState {
  const SettingInfo* setting;
  std::optional<StoredValue> policy;
  std::optional<StoredValue> local;
  /// The value that counts, as the library reads it; of `SKey` only "set" or "not set".
  std::string effective;
  Source source;
};

/// One of the two registry views: what is entered there for 64-bit or for 32-bit programs.
struct RegisteredFilter {
  bool wow64;                         ///< the view of 32-bit programs
  std::optional<std::string> module;  ///< the path in the class key; nothing if there is no class key
  /// The class is there for the present user alone, which the logon process does not see; `module` is
  /// nothing.
  bool onlyForThisUser;
  std::string threadingModel;
  bool inFilterList;
  bool moduleExists;
  bool architectureFits;             ///< of an existing module
  std::optional<bool> sameAsBeside;  ///< the file is the DLL that came with this program; nothing if none did
};

/// Another entry of the list of filters.
struct OtherFilter {
  bool wow64;
  std::string identifier;
  std::string name;
  std::string module;  ///< empty if the class is gone
  bool moduleExists;
};

/// What the registry says of the filter, its neighbours and the platform's own settings.
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

enum class Session : std::uint8_t { Console, Remote };

/// What the filter makes of a scenario.
enum class Outcome : std::uint8_t {
  Protected,    ///< only the allowed list stays
  Unprotected,  ///< the second-factor providers go, all others stay
  Untouched,    ///< every provider stays as the platform wants it
};

/// The answer for one scenario in one kind of session.
struct Decision {
  Tools::Scenario scenario;
  Session session;
  Outcome outcome;
  std::vector<bool> enabled;  ///< in the order of the providers
  std::string
      decidedBy;  ///< the setting that decided, or what is missing; a name of the table where there is one
  std::string value;  ///< its effective value; empty where no setting decided
  Source source;      ///< where that value comes from
};

/// The decisions, and a sentence for each way a user meets them.
struct DecisionReport {
  Tools::ProviderList providers;    ///< those installed; the platform's own by their stock names
  std::vector<Decision> decisions;  ///< each scenario at the console, then each over remote desktop
  std::string atConsole;            ///< "At the console a user sees ..."
  std::string overRemoteDesktop;
  std::string atElevation;
  bool inForce;  ///< the second factor protects at least one scenario, and a Kuv provider is there to ask
};

/// Settings, findings about them and the decisions that follow: once as they are, once as they would be.
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

struct Report {
  std::string machine;  ///< its name
  std::string time;     ///< when the run began, in UTC: "2026-11-21T09:30:00Z"
  Situation now;
  std::vector<WhatIfSetting> whatIfSettings;
  std::optional<Situation> whatIf;  ///< the situation with those settings; nothing without any
  Registration registration;
  Findings registrationFindings;
};

}  // namespace FilterCheck
