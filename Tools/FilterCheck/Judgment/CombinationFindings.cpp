#include <algorithm>
#include <cwctype>

#include "FilterCheck/Judgment/SettingFindings.h"

namespace FilterCheck {

namespace {

const std::string& EffectiveOf(const JudgedSettings& settings, std::string_view name) {
  return Judged(settings, name).state.effective;
}

bool HoldsNothing(const RawValue& value) {
  if (value.type == REG_MULTI_SZ) return Strings(value).empty();
  const std::wstring units = Units(value);
  const std::wstring_view text = std::wstring_view{units}.substr(0, units.find(L'\0'));
  return std::all_of(text.begin(), text.end(), [](wchar_t unit) { return std::iswspace(unit) != 0; });
}

void JudgeMissing(const JudgedSettings& settings, Findings& findings) {
  for (const JudgedSetting& judged : settings) {
    const SettingInfo& setting = *judged.state.setting;
    if (!IsRequired(setting) || judged.state.effective != "not set") continue;
    const std::string name{setting.name};
    findings.push_back({"setting.missing", Severity::Problem, name,
                        name + " is not set, so the second factor is not required.",
                        "Set it by policy, or in HKLM\\Software\\Kuvant\\KuvCredProv."});
  }
}

void JudgeOverridden(const JudgedSettings& settings, Findings& findings) {
  for (const JudgedSetting& judged : settings) {
    if (IsNumeric(*judged.state.setting) || !judged.policy.taken || !judged.local.taken) continue;
    if (!HoldsNothing(*judged.policy.value) || HoldsNothing(*judged.local.value)) continue;
    const std::string name{judged.state.setting->name};
    findings.push_back({"setting.empty-policy-overrides-local", Severity::Warning, name,
                        "The policy value of " + name + " is empty and overrides the local value.",
                        "To use the local value, set the policy setting to Not Configured. Otherwise, enter "
                        "a value in the policy setting."});
  }
}

void JudgeOfflineUsers(const StoredKeys& keys, const JudgedSettings& settings, Findings& findings) {
  const JudgedSetting& judged = Judged(settings, "OfflineMaxUsers");
  if (!keys.policy.exists || judged.policy.taken || !judged.local.taken) return;
  findings.push_back({"offline-users.discarded", Severity::Warning, "OfflineMaxUsers",
                      "The local value of OfflineMaxUsers, " + std::to_string(NumberOf(*judged.local.value)) +
                          ", is ignored: because the policy key exists, " + judged.state.effective +
                          " is used unless policy sets another value.",
                      "Set OfflineMaxUsers by policy."});
}

void JudgeSmartCards(const JudgedSettings& settings, Findings& findings) {
  if (EffectiveOf(settings, "WrapSmartCards") != "1" || EffectiveOf(settings, "EnableSmartCards") != "0")
    return;
  findings.push_back(
      {"smart-cards.wrap-without-enable", Severity::Warning, "WrapSmartCards",
       "WrapSmartCards is on without EnableSmartCards, so it has no effect: the filter hides the smart card "
       "providers where the second factor is required.",
       "Turn on EnableSmartCards, or turn off WrapSmartCards."});
}

void JudgeDebug(const JudgedSettings& settings, Findings& findings) {
  const JudgedSetting& judged = Judged(settings, "Debug");
  const RawValue* const policy = judged.policy.value;
  if (policy == nullptr || policy->type != REG_DWORD || policy->data.size() != sizeof(std::uint32_t) ||
      NumberOf(*policy) != 0 || !judged.local.taken) {
    return;
  }
  findings.push_back({"debug.zero-in-policy", Severity::Warning, "Debug",
                      "Debug is 0 in policy, which does not override the local value: " +
                          judged.state.effective + " is used.",
                      "Delete the local value."});
}

void JudgeLogLimit(const JudgedSettings& settings, const std::string& set, const std::string& other,
                   Findings& findings) {
  if (EffectiveOf(settings, set) == "0" || EffectiveOf(settings, other) != "0") return;
  findings.push_back(
      {"log-limit.incomplete", Severity::Warning, set,
       set + " is set without " + other + ", so it has no effect: the log file grows without limit.",
       "Set " + other + " as well."});
}

}  // namespace

Findings JudgeCombinations(const StoredKeys& keys, const JudgedSettings& settings) {
  Findings findings;
  JudgeMissing(settings, findings);
  JudgeOverridden(settings, findings);
  JudgeOfflineUsers(keys, settings, findings);
  JudgeSmartCards(settings, findings);
  JudgeDebug(settings, findings);
  JudgeLogLimit(settings, "LogFileMaxSizeMB", "LogFileMaxCount", findings);
  JudgeLogLimit(settings, "LogFileMaxCount", "LogFileMaxSizeMB", findings);
  return findings;
}

}  // namespace FilterCheck
