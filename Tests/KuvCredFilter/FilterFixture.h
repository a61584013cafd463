#pragma once

#include <vector>

#include "KuvCredFilter/CredentialProviderApi.h"
#include "KuvCredFilter/Providers.h"
#include "Support/ImportHook.h"
#include "Support/KuvFixture.h"

namespace KuvTest {

/// What the platform hands to one decision.
struct FilterCall {
  DWORD scenario = CPUS_LOGON;
  DWORD flags = 0;
  Names providers = {kPassword, kKuv};
  std::vector<BOOL> allow = {};  ///< flags before the call; shorter than `providers`: the rest are 7
};

/// A filter object on a machine of the test's own: no settings, no remote session, an empty log.
class FilterFixture : public KuvFixture {
 protected:
  FilterFixture();
  ~FilterFixture() override;

  /// Completes the record of the settings without the registry, so that no decision loads it.
  Configuration& Configure(const Names& whitelist = {});

  /// What the metric of a remote session answers from here on.
  void SetRemote(bool remote);

  /// Makes one decision, which must answer S_OK, over arrays that end at a guarded page, the
  /// identifiers being read only. Gives the flags after it.
  std::vector<BOOL> Filter(const FilterCall& call);

  /// Makes the decision with the log at Trace, at Debug and at Info, and expects these flags and this
  /// whole log each time: `decision` as far as it passes the level, then `report` down to Debug only.
  void ExpectDecision(const FilterCall& call, const std::vector<BOOL>& allow, const LogLines& decision,
                      const LogLines& report);

  ICredentialProviderFilter* filter = nullptr;
  KUV_IMPORT_HOOK(metrics, GetSystemMetrics);
};

}  // namespace KuvTest
