#pragma once

#include <windows.h>

#include <cstdint>

#include "KuvAuth/Configuration/SettingEnums.h"
#include "KuvCredFilter/AllowedProviders.h"

/// @file
/// The rule of the filter, apart from where its facts come from: the filter hands it those of the running
/// system, a tool those of a system that it describes.

namespace Kuv {

/// What one decision depends on besides its arguments. Each fact is asked for only when the decision needs
/// it, at most once, in the order of the members, with the log messages in between. What a fact throws, if
/// it derives from `std::exception`, makes the decision a `DecidedBy::Failure`.
struct DecisionFacts {
  AllowedProviderList (*allowedProviders)();
  ElevationProtectionMode (*elevationProtectionMode)();
  bool (*isRemoteSession)();
  bool (*isRdpOnly)();
};

/// What the filter does with the allow flags.
enum class Outcome : std::uint8_t {
  Supported,    ///< only the allowed list stays
  Unsupported,  ///< the second-factor providers go, all others stay
  Untouched,    ///< nothing is written
};

/// The fact that settled a decision: with another value of it, the outcome could be another one.
enum class DecidedBy : std::uint8_t {
  KuvProvider,              ///< no second-factor provider is among the providers
  Failure,                  ///< a fact was unavailable: incomplete settings, as a rule
  UsageScenario,            ///< the scenario, with its flags, is never protected
  ElevationProtectionMode,  ///< the setting of that name
  RdpOnly,                  ///< the setting of that name, in a local session
};

struct Decision {
  Outcome outcome;
  DecidedBy decidedBy;
};

/// Decides on a usage scenario, with the platform's scenario flags, for providers of which at least one is
/// a second-factor provider. Does not ask for the allowed list. Passes on what a fact throws.
Decision DecideScenario(std::uint32_t scenario, DWORD flags, const DecisionFacts& facts);

/// Decides on a usage scenario and writes the allow flags of its providers, both arrays having the same
/// size. Exceptions derived from `std::exception` are logged and end in `Outcome::Unsupported`, with the
/// flags written for that.
Decision FilterProviders(std::uint32_t scenario, DWORD flags, BoundedArray<const GUID> providers,
                         BoundedArray<BOOL> allow, const DecisionFacts& facts);

}  // namespace Kuv
