#include <algorithm>
#include <numeric>
#include <utility>

#include "Common/PlainText.h"
#include "FilterCheck/Judgment/SettingFindings.h"
#include "KuvAuth/Support/SettingsKeys.h"
#include "KuvAuth/Support/Text.h"

namespace FilterCheck {

namespace {

using Tools::PlainText;

// The edit distance: how many letters to insert, delete or replace to turn one name into the other.
std::size_t Distance(const std::wstring& a, const std::wstring& b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t changed = diagonal + (a[i] == b[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

// Returns the setting that a name is most likely meant for, or null if none is similar.
const SettingInfo* Nearest(const std::wstring& name) {
  const SettingInfo* nearest = nullptr;
  std::size_t least = std::min<std::size_t>(4, name.size() / 2 + 1);
  for (const SettingInfo& setting : AllSettings()) {
    const std::wstring candidate{setting.name.begin(), setting.name.end()};
    const std::size_t distance = Distance(ToLowerAscii(name), ToLowerAscii(candidate));
    if (distance >= least) continue;
    least = distance;
    nearest = &setting;
  }
  return nearest;
}

Finding UnknownName(const std::wstring& name, const char* path) {
  const SettingInfo* const nearest = Nearest(name);
  std::string advice = "Delete the value, unless another program needs it.";
  if (nearest != nullptr) advice = "If you meant " + std::string{nearest->name} + ", rename the value.";
  return {"setting.unknown-name", nearest == nullptr ? Severity::Note : Severity::Warning, PlainText(name),
          "HKLM\\" + std::string{path} + " contains a value '" + PlainText(name) +
              "', which is not a setting and is ignored.",
          advice};
}

void AddUnknownNames(const StoredKey& key, const char* path, Findings& findings) {
  for (const RawValue& value : key.values) {
    // The value without a name is the key's default value.
    if (!value.name.empty() && key.SettingOf(value) == nullptr)
      findings.push_back(UnknownName(value.name, path));
  }
}

}  // namespace

Findings JudgeNames(const StoredKeys& keys) {
  Findings findings;
  AddUnknownNames(keys.policy, PolicyKeyPath, findings);
  AddUnknownNames(keys.local, LocalKeyPath, findings);
  return findings;
}

}  // namespace FilterCheck
