#include "FilterCheck/SettingsCheck.h"

#include "FilterCheck/Decisions.h"
#include "FilterCheck/JudgedSettings.h"

namespace FilterCheck {

namespace {

// What assumed settings do not change.
struct Surroundings {
  FilterHost::ProviderList providers;
};

Situation Look(const Surroundings& surroundings) {
  const StoredKeys keys = ReadStoredKeys();
  const JudgedSettings judged = JudgeSettings(keys);
  Situation situation{{}, {}, Decide(surroundings.providers, judged)};
  for (const JudgedSetting& setting : judged) situation.settings.push_back(setting.state);
  situation.findings = JudgeDecisions(situation.decision);
  return situation;
}

}  // namespace

Situation Examine() {
  return Look({InstalledProviders()});
}

}  // namespace FilterCheck
