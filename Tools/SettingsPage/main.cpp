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

<!-- Made from the table in Tools/FilterCheck/Model/SettingsTable.cpp. The build target settings_page renews it. -->

The settings are values of two registry keys:

| Key | Written by |
|---|---|
| `HKLM\Software\Policies\Kuvant\KuvCredProv` | group policy |
| `HKLM\Software\Kuvant\KuvCredProv` | you, or the installation, on the machine itself |

32-bit programs, which load the 32-bit filter, have a local key of their own, `HKLM\Software\WOW6432Node\Kuvant\KuvCredProv`;
the policy key is one for all.

`KuvFilterCheck` shows what is stored, what counts and what comes of it. `KuvFilterCheck --what-if RdpOnly=1` shows what a
change would do, without making it.

## Which value counts

A value in the policy key wins over the same value in the local key. This goes value by value: what policy does not name
stays local. But:

- **`OfflineMaxUsers`**: as soon as the policy key exists, a local value does not count. Set it by policy too.
- **`ProvidersWhitelist`**: the two lists are not merged. A policy list, even an empty one, replaces the local one.
- **A policy text that is empty** hides the local text. An empty `Host`, `IKey` or `SKey` turns the second factor off.
- **A policy value that counts as absent** (another type, too long) hides nothing: the local one counts.
- **`Debug` 0 in policy** does not undo a local `Debug`.

A value that counts as absent leaves no line in the log.

**If `Host`, `IKey` or `SKey` is missing, the second factor is off**: the filter takes the Kuv providers off the logon screen
and leaves all others. Nobody is kept out by that.

## When a change takes effect

| In the table | That is |
|---|---|
| at once | at the next logon screen or prompt |
| next screen | when Windows next loads the filter for a logon screen or prompt |
| next process | in a new logon process: log off, or restart the machine |
| next log | when a new logon process opens the log: log off, or restart the machine |

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
