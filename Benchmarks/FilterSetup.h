#pragma once

#include <windows.h>

#include <vector>

#include "KuvCredFilter/CredentialProviderApi.h"
#include "Support/FilterModule.h"
#include "Support/RegistrySandbox.h"

namespace KuvBench {

/// The registry of a configured machine: both settings keys exist, the local key has the values of the
/// service, a whitelist and enabled smart cards, and the console session is the session of this process.
class MachineSettings {
 public:
  MachineSettings();

 private:
  KuvTest::RegistrySandbox registry_;
};

/// The arrays for a call of `Filter`. The Kuv provider is the last element, so that all are
/// scanned.
class ProviderArrays {
 public:
  explicit ProviderArrays(std::size_t count);

  /// Calls `Filter` for a logon. Throws `std::runtime_error` unless only the Kuv provider is
  /// enabled afterwards.
  void Check(ICredentialProviderFilter& filter);
  /// Does the same without checking the result.
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

/// Discards everything that the log of the DLL writes to the debugger and to the file from now on.
void DropLogOutput(const KuvTest::FilterModule& module);

/// Calls the platform functions that the decision for a logon needs, and nothing else.
void CallPlatformForDecision();

}  // namespace KuvBench
