#include <iostream>
#include <string>

#include <json/json.h>

#include "Common/Console.h"
#include "Common/JsonText.h"
#include "FilterCheck/Model/SettingsTable.h"
#include "KuvAuth/Support/Text.h"

namespace {

using FilterCheck::AllSettings;
using FilterCheck::Effect;
using FilterCheck::SettingInfo;
using FilterCheck::SettingKind;

constexpr char kOpening[] = R"(# Settings

<!-- Generated from Tools/FilterCheck/Model/SettingsTable.cpp. To update this page, build the target settings_page. -->

The settings are registry values in two keys:

| Key | Written by |
|---|---|
| `HKLM\Software\Policies\Kuvant\KuvCredProv` | group policy |
| `HKLM\Software\Kuvant\KuvCredProv` | you or your deployment tool, on the machine itself |

32-bit programs load the 32-bit filter, which reads a separate local key, `HKLM\Software\WOW6432Node\Kuvant\KuvCredProv`.
Both filters read the same policy key.

To see the stored values, the effective values and their result, run `KuvFilterCheck`. To see the result of a change without
making it, run for example `KuvFilterCheck --what-if RdpOnly=1`.

Contents: [Policy and local values](#policy-and-local-values), [When a change takes effect](#when-a-change-takes-effect),
[All settings](#all-settings)

## Policy and local values

A value in the policy key overrides the same value in the local key. Each value is read separately: a setting that policy does
not contain is read from the local key. Exceptions:

- **`OfflineMaxUsers`**: if the policy key exists, the local value is ignored. Set it by policy.
- **`ProvidersWhitelist`**: the two lists are not merged. A policy list, even an empty one, replaces the local list.
- **Empty policy text**: overrides the local text. With an empty `Host`, `IKey` or `SKey`, the second factor is not required.
- **Invalid policy value** (wrong type, too long): is ignored, and the local value is used.
- **`Debug` 0 in policy**: does not override a local `Debug`.

The log does not report values that are ignored. `KuvFilterCheck` does.

**If `Host`, `IKey` or `SKey` is missing, the second factor is not required**: the filter hides the Kuv providers and shows all
others, so users can still sign in.

## When a change takes effect

| In the table | Meaning |
|---|---|
| at once | at the next logon screen or prompt |
| next screen | when Windows next loads the filter for a logon screen or prompt |
| next process | in a new logon process: sign out, or restart the machine |
| next log | when a new logon process opens the log: sign out, or restart the machine |

## All settings

)";

std::string TypeOf(const SettingInfo& setting) {
  return FilterCheck::IsNumeric(setting)     ? "REG_DWORD"
         : setting.kind == SettingKind::Text ? "REG_SZ"
                                             : "REG_MULTI_SZ";
}

std::string RangeOf(const SettingInfo& setting) {
  switch (setting.kind) {
    case SettingKind::Text:
      return "up to " + std::to_string(FilterCheck::kMostTextBytes - 1) + " characters";
    case SettingKind::Providers:
      return "up to " + std::to_string(FilterCheck::kMostProviders) + " identifiers";
    default:
      return std::to_string(setting.least) + " to " + std::to_string(setting.most);
  }
}

std::string EffectOf(const SettingInfo& setting) {
  switch (setting.effect) {
    case Effect::AtOnce:
      return "at once";
    case Effect::NextClassObject:
      return "next screen";
    case Effect::NextProcess:
      return "next process";
    default:
      return "next log";
  }
}

std::string KindOf(const SettingInfo& setting) {
  switch (setting.kind) {
    case SettingKind::Text:
      return "text";
    case SettingKind::Flag:
    case SettingKind::ExactFlag:
      return "flag";
    case SettingKind::Number:
      return "number";
    case SettingKind::Choice:
      return "choice";
    default:
      return "providers";
  }
}

void PrintPage(std::ostream& out) {
  out << kOpening << "| Setting | Type | Range | Default | Takes effect |\n|---|---|---|---|---|\n";
  for (const SettingInfo& setting : AllSettings()) {
    out << "| [`" << setting.name << "`](#" << ToLowerAscii(std::string{setting.name}) << ") | `"
        << TypeOf(setting) << "` | " << RangeOf(setting) << " | " << setting.byDefault << " | "
        << EffectOf(setting) << " |\n";
  }
  for (const SettingInfo& setting : AllSettings())
    out << "\n### " << setting.name << "\n\n" << setting.meaning << "\n\n" << setting.limits << '\n';
}

void PrintTableJson(std::ostream& out) {
  Json::Value value;
  value["mostTextBytes"] = FilterCheck::kMostTextBytes;
  value["mostListBytes"] = FilterCheck::kMostListBytes;
  value["mostProviders"] = FilterCheck::kMostProviders;
  for (const SettingInfo& setting : AllSettings()) {
    Json::Value row;
    row["name"] = std::string{setting.name};
    row["kind"] = KindOf(setting);
    row["type"] = TypeOf(setting);
    row["least"] = setting.least;
    row["most"] = setting.most;
    row["default"] = std::string{setting.byDefault};
    row["effect"] = EffectOf(setting);
    value["settings"].append(row);
  }
  Tools::WriteJson(value, out);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  const Tools::Console console;
  if (argc == 1) {
    PrintPage(std::cout);
  } else if (argc == 2 && std::wstring{argv[1]} == L"--json") {
    PrintTableJson(std::cout);
  } else {
    std::cerr << "usage: KuvSettingsPage [--json]\n";
    return 1;
  }
  return std::cout.flush() ? 0 : 1;
}
