#include "FilterCheck/SettingsCheck.h"

#include <iterator>

#include "FilterCheck/Judgment/AccessFindings.h"
#include "FilterCheck/Judgment/Decisions.h"
#include "FilterCheck/Judgment/JudgedSettings.h"
#include "FilterCheck/Judgment/SettingFindings.h"
#include "FilterCheck/Machine/InstalledProviders.h"
#include "FilterCheck/WhatIf/ApplyWhatIf.h"
#include "FilterCheck/WhatIf/PrivateSettings.h"

namespace FilterCheck {

namespace {

// Wipes the secret from memory on every path.
class SecretGuard {
 public:
  explicit SecretGuard(StoredKeys& keys) noexcept : keys_(keys) {}
  ~SecretGuard() {
    ForgetRecord();
    for (StoredKey* const key : {&keys_.policy, &keys_.local}) {
      for (RawValue& value : key->values) ::SecureZeroMemory(value.data.data(), value.data.size());
    }
  }
  SecretGuard(const SecretGuard&) = delete;
  SecretGuard& operator=(const SecretGuard&) = delete;

 private:
  StoredKeys& keys_;
};

// The facts that what-if settings do not change, read from the machine before the registry is redirected.
struct Surroundings {
  Tools::ProviderList providers = InstalledProviders();
  AccessLists access = ReadAccessLists();
};

void Append(Findings& findings, Findings more) {
  findings.insert(findings.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

Situation Look(const Surroundings& surroundings) {
  StoredKeys keys = ReadStoredKeys();
  const SecretGuard guard{keys};
  const JudgedSettings judged = JudgeSettings(keys);
  Situation situation;
  for (const JudgedSetting& setting : judged) situation.settings.push_back(setting.state);
  situation.findings = JudgeCombinations(keys, judged);
  Append(situation.findings, JudgeHost());
  Append(situation.findings, JudgeValues(judged));
  Append(situation.findings, JudgeWhitelist(judged, surroundings.providers));
  Append(situation.findings, JudgeNames(keys));
  Append(situation.findings, JudgeAccess(surroundings.access, keys));
  situation.decision = Decide(surroundings.providers, judged);
  return situation;
}

}  // namespace

Situation Examine() {
  return Look({});
}

Situation ExamineWhatIf(std::span<const WhatIfSetting> settings) {
  const Surroundings surroundings;
  StoredKeys keys = ReadStoredKeys();
  const SecretGuard guard{keys};
  ApplyWhatIf(keys, settings);
  const PrivateSettings view{keys};
  return Look(surroundings);
}

}  // namespace FilterCheck
