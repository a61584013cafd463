#pragma once

#include <windows.h>

#include <cstdint>
#include <span>
#include <vector>

// The rules of the filter for the tests: the expected outcome of a decision, independent of the code of the
// product.
namespace KuvTest {

/// Everything that the outcome of a decision depends on.
struct DecisionFacts {
  bool kuvInstalled = true;  ///< at least one Kuv provider is in the array
  bool loadable = true;      ///< the configuration is complete
  std::uint32_t scenario = 0;
  DWORD flags = 0;
  DWORD mode = 0;        ///< `ElevationProtectionMode` as stored, 0 if absent
  bool rdpOnly = false;  ///< `RdpOnly` is stored as 1
  bool remote = false;   ///< the session is remote
};

enum class Outcome {
  Untouched,    ///< no flag changes
  OnlyAllowed,  ///< the allowed list is enabled, all others are disabled
  WithoutKuv,   ///< the Kuv providers are disabled, all others are enabled
};

struct DecisionRule {
  const char* situation;
  bool (*applies)(const DecisionFacts& facts);
  Outcome outcome;
};

/// Returns all rules.
std::span<const DecisionRule> DecisionRules();

/// Returns the one rule that applies. Throws `std::logic_error` if none or several do: an error of the model.
const DecisionRule& RuleFor(const DecisionFacts& facts);

/// Returns the allowed list. `newSystem`: Windows is at version 6.2 or later.
std::vector<GUID> ExpectedAllowed(std::vector<GUID> whitelist, bool enableSmartCards, bool wrapSmartCards,
                                  bool newSystem = true);

bool IsKuv(const GUID& provider);
bool Holds(const std::vector<GUID>& list, const GUID& provider);

/// Returns the flag of one provider after a decision; `before` is its flag before that.
BOOL ExpectedFlag(Outcome outcome, const GUID& provider, const std::vector<GUID>& allowed, BOOL before);

/// Does the same for all providers.
std::vector<BOOL> ExpectedFlags(Outcome outcome, const std::vector<GUID>& providers,
                                const std::vector<GUID>& allowed, const std::vector<BOOL>& before);

}  // namespace KuvTest
