#include <algorithm>
#include <optional>

#include "Common/HostError.h"
#include "FilterCheck/WhatIf/AssumedSettings.h"

namespace FilterCheck {

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes BytesOf(const std::wstring& text) {
  Bytes bytes(text.size() * sizeof(wchar_t));
  std::copy_n(reinterpret_cast<const std::uint8_t*>(text.data()), bytes.size(), bytes.data());
  return bytes;
}

std::optional<std::uint32_t> ParseNumber(const std::wstring& text) {
  const bool hexadecimal = text.starts_with(L"0x") || text.starts_with(L"0X");
  const std::wstring_view digits = std::wstring_view{text}.substr(hexadecimal ? 2 : 0);
  const std::uint64_t base = hexadecimal ? 16 : 10;
  std::uint64_t number = 0;
  for (const wchar_t digit : digits) {
    const bool decimal = digit >= L'0' && digit <= L'9';
    const auto letter = static_cast<wchar_t>(digit | 0x20);
    if (!decimal && !(hexadecimal && letter >= L'a' && letter <= L'f')) return std::nullopt;
    number = number * base + static_cast<std::uint64_t>(decimal ? digit - L'0' : letter - L'a' + 10);
    if (number > 0xFFFFFFFF) return std::nullopt;
  }
  return digits.empty() ? std::nullopt : std::optional{static_cast<std::uint32_t>(number)};
}

Bytes NumberBytes(const Assumption& assumption) {
  const std::optional<std::uint32_t> number = ParseNumber(assumption.value);
  if (!number) {
    throw FilterHost::HostError{
        FilterHost::ExitCode::Usage,
        std::string{assumption.setting->name} + " requires a 32-bit number, decimal or hexadecimal with 0x"};
  }
  Bytes bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::uint8_t>(*number >> shift));
  return bytes;
}

std::wstring Trimmed(const std::wstring& text) {
  constexpr wchar_t kBlanks[] = L" \t";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::wstring::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// An empty entry would end the list.
Bytes ListBytes(const std::wstring& text) {
  std::wstring list;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find_first_of(L",;", start), text.size());
    const std::wstring entry = Trimmed(text.substr(start, end - start));
    if (!entry.empty()) list += entry + L'\0';
    start = end + 1;
  }
  return BytesOf(list + L'\0');
}

RawValue ValueOf(const Assumption& assumption) {
  const SettingInfo& setting = *assumption.setting;
  const std::wstring name{setting.name.begin(), setting.name.end()};
  if (IsNumeric(setting)) return {name, REG_DWORD, NumberBytes(assumption)};
  if (setting.kind == SettingKind::Providers) return {name, REG_MULTI_SZ, ListBytes(assumption.value)};
  return {name, REG_SZ, BytesOf(assumption.value + L'\0')};
}

void Remove(StoredKey& key, const SettingInfo& setting) {
  const RawValue* const value = key.Find(setting.name);
  if (value != nullptr) key.values.erase(key.values.begin() + (value - key.values.data()));
}

}  // namespace

void Assume(StoredKeys& keys, std::span<const Assumption> assumptions) {
  for (const Assumption& assumption : assumptions) {
    const SettingInfo& setting = *assumption.setting;
    StoredKey& key = keys.policy.Find(setting.name) != nullptr ? keys.policy : keys.local;
    if (assumption.value.empty()) {
      Remove(keys.policy, setting);
      Remove(keys.local, setting);
      continue;
    }
    RawValue value = ValueOf(assumption);
    Remove(key, setting);
    key.exists = true;
    key.values.push_back(std::move(value));
  }
}

}  // namespace FilterCheck
