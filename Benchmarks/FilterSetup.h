#pragma once

#include <windows.h>

#include <vector>

#include "KuvCredFilter/CredentialProviderApi.h"
#include "Support/FilterModule.h"
#include "Support/RegistrySandbox.h"

namespace KuvBench {

/// The registry of a machine that is fully set up: both settings keys are there, the service's values,
/// a whitelist and smart cards are in the local one, and the terminal server names this process's
/// session.
class MachineSettings {
 public:
  MachineSettings();

 private:
  KuvTest::RegistrySandbox registry_;
};

/// The arrays of one call of `Filter`, with the second-factor provider last, so that all are scanned.
class ProviderArrays {
 public:
  explicit ProviderArrays(std::size_t count);

  /// Asks for a logon. Throws `std::runtime_error` unless the second-factor provider alone comes out
  /// enabled.
  void Check(ICredentialProviderFilter& filter);
  /// The same without a look at the answer.
  void Filter(ICredentialProviderFilter& filter);

 private:
  std::vector<GUID> providers_;
  std::vector<BOOL> allow_;
};

/// Loads the built DLL with one filter. Its log goes to a temporary folder of this program.
class ModuleFilter : public KuvTest::LiveFilter {
 public:
  ModuleFilter();
};

/// Drops what the log of the DLL writes to the debugger and to the file from here on.
void DropLogOutput(const KuvTest::FilterModule& module);

/// Makes the platform calls that the decision on a logon cannot do without, and nothing else.
void CallPlatformForDecision();

}  // namespace KuvBench
