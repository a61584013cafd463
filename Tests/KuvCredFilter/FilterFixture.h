#pragma once

#include <vector>

#include "KuvCredFilter/CredentialProviderApi.h"
#include "Support/ImportHook.h"
#include "Support/KuvFixture.h"
#include "Support/Providers.h"

namespace KuvTest {

/// The arguments of one decision.
struct FilterCall {
  DWORD scenario = CPUS_LOGON;
  DWORD flags = 0;
  Names providers = {kPassword, kKuv};
  std::vector<BOOL> allow = {};  ///< flags before the call; shorter than `providers`: the rest are 7
};

/// A filter object on a machine without settings, in a local session, with an empty log.
class FilterFixture : public KuvFixture {
 protected:
  FilterFixture();
  ~FilterFixture() override;

  /// Completes the settings record without the registry, so that no decision loads it.
  Configuration& Configure(const Names& whitelist = {});

  /// Sets the session metric.
  void SetRemote(bool remote);

  /// Calls `Filter`, which must return S_OK, on arrays that end at a guarded page, with read-only
  /// identifiers. Returns the flags after it.
  std::vector<BOOL> Filter(const FilterCall& call);

  /// Decides with the log at Trace, Debug and Info, and expects these flags and this whole log
  /// each time: the lines of `decision` that pass the level, then `report` at Trace and Debug only.
  void ExpectDecision(const FilterCall& call, const std::vector<BOOL>& allow, const LogLines& decision,
                      const LogLines& report);

  ICredentialProviderFilter* filter = nullptr;
  KUV_IMPORT_HOOK(metrics, GetSystemMetrics);
};

}  // namespace KuvTest
