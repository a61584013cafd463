#pragma once

#include <windows.h>

#include <cstdint>

#include "KuvAuth/Configuration/SettingEnums.h"
#include "KuvCredFilter/AllowedProviders.h"

/// @file
/// The decision of the filter. The caller passes the facts, so that a tool can evaluate it with assumed ones.

namespace Kuv {

/// The facts of a decision, other than its arguments. Each function is called at most once, in the order of
/// the members, and only if the decision needs the fact. The functions may log and throw exceptions.
struct DecisionFacts {
  AllowedProviderList (*allowedProviders)();
  ElevationProtectionMode (*elevationProtectionMode)();
  bool (*isRemoteSession)();
  bool (*isRdpOnly)();
};

/// What the filter does with the allow flags.
enum class Outcome : std::uint8_t {
  Supported,    ///< only the allowed providers are enabled
  Unsupported,  ///< the Kuv providers are disabled, all others are enabled
  Untouched,    ///< no flag is written
};

/// The fact that determined the outcome.
enum class DecidedBy : std::uint8_t {
  KuvProvider,              ///< no Kuv provider is among the providers
  Failure,                  ///< an exception, usually because the settings are incomplete
  UsageScenario,            ///< the scenario with these flags is never protected
  ElevationProtectionMode,  ///< the setting of that name
  RdpOnly,                  ///< the setting of that name, in a local session
};

struct Decision {
  Outcome outcome;
  DecidedBy decidedBy;
};

/// Returns the decision on a usage scenario with these flags if a Kuv provider is among the providers. Does
/// not call `allowedProviders`. Throws the exceptions of the facts.
Decision DecideScenario(std::uint32_t scenario, DWORD flags, const DecisionFacts& facts);

/// Decides on a usage scenario, writes the allow flags and returns the decision. Both arrays must have the
/// same size. Logs an exception that derives from `std::exception`, writes the flags of
/// `Outcome::Unsupported` and returns `DecidedBy::Failure`.
Decision FilterProviders(std::uint32_t scenario, DWORD flags, BoundedArray<const GUID> providers,
                         BoundedArray<BOOL> allow, const DecisionFacts& facts);

}  // namespace Kuv
