#include "FilterCheck/WhatIf/ApplyWhatIf.h"

#include <algorithm>
#include <optional>

#include "Common/ParseText.h"
#include "Common/ToolError.h"

namespace FilterCheck {

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes BytesOf(const std::wstring& text) {
  Bytes bytes(text.size() * sizeof(wchar_t));
  std::copy_n(reinterpret_cast<const std::uint8_t*>(text.data()), bytes.size(), bytes.data());
  return bytes;
}

Bytes NumberBytes(const WhatIfSetting& whatIf) {
  const std::optional<std::uint32_t> number = Tools::ParseNumber(whatIf.value);
  if (!number) {
    throw Tools::UsageError{std::string{whatIf.setting->name} +
                            " requires a 32-bit number, decimal or hexadecimal with 0x"};
  }
  Bytes bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::uint8_t>(*number >> shift));
  return bytes;
}

// An empty entry would end the list.
Bytes ListBytes(const std::wstring& text) {
  std::wstring list;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find_first_of(L",;", start), text.size());
    const std::wstring entry = Tools::Trimmed(text.substr(start, end - start), L" \t");
    if (!entry.empty()) list += entry + L'\0';
    start = end + 1;
  }
  return BytesOf(list + L'\0');
}

RawValue ValueOf(const WhatIfSetting& whatIf) {
  const SettingInfo& setting = *whatIf.setting;
  const std::wstring name{setting.name.begin(), setting.name.end()};
  if (IsNumeric(setting)) return {name, REG_DWORD, NumberBytes(whatIf)};
  if (setting.kind == SettingKind::Providers) return {name, REG_MULTI_SZ, ListBytes(whatIf.value)};
  return {name, REG_SZ, BytesOf(whatIf.value + L'\0')};
}

void Remove(StoredKey& key, const SettingInfo& setting) {
  const RawValue* const value = key.Find(setting.name);
  if (value != nullptr) key.values.erase(key.values.begin() + (value - key.values.data()));
}

}  // namespace

void ApplyWhatIf(StoredKeys& keys, std::span<const WhatIfSetting> settings) {
  for (const WhatIfSetting& whatIf : settings) {
    const SettingInfo& setting = *whatIf.setting;
    const bool unnamed = whatIf.key == WhatIfKey::Effective;
    if (whatIf.value == L"-" || (unnamed && whatIf.value.empty())) {
      if (whatIf.key != WhatIfKey::Local) Remove(keys.policy, setting);
      if (whatIf.key != WhatIfKey::Policy) Remove(keys.local, setting);
      continue;
    }
    const bool inPolicy =
        unnamed ? keys.policy.Find(setting.name) != nullptr : whatIf.key == WhatIfKey::Policy;
    StoredKey& key = inPolicy ? keys.policy : keys.local;
    RawValue value = ValueOf(whatIf);
    Remove(key, setting);
    key.exists = true;
    key.values.push_back(std::move(value));
  }
}

}  // namespace FilterCheck
