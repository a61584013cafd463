#include "FilterCheck/WhatIf/PrivateSettings.h"

#include "Common/ErrorText.h"
#include "Common/ToolError.h"
#include "KuvAuth/Support/SettingsKeys.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace FilterCheck {

namespace {

using Kuv::UniqueRegistryKey;

void RequireView(LSTATUS status, const char* step) {
  if (status == ERROR_SUCCESS) return;
  throw Tools::ToolError{std::string{"cannot use a copy of the settings: "} + step + ": " +
                         Tools::DescribeError(static_cast<std::uint32_t>(status))};
}

bool IsBlankUnit(std::uint8_t low, std::uint8_t high) {
  return high == 0 && (low == 0 || low == ' ' || (low >= '\t' && low <= '\r'));
}

// No result depends on the characters of the secret, so the copy contains as many placeholders. For a value
// that is not a text, only its size and whether it contains only zeros matter.
std::vector<std::uint8_t> Masked(std::vector<std::uint8_t> secret, DWORD type) {
  std::size_t done = 0;
  for (; type == REG_SZ && done + 1 < secret.size(); done += sizeof(wchar_t)) {
    if (IsBlankUnit(secret[done], secret[done + 1])) continue;
    secret[done] = 'x';
    secret[done + 1] = 0;
  }
  for (; done < secret.size(); ++done) {
    if (secret[done] != 0) secret[done] = 'x';
  }
  return secret;
}

// A value that is not a setting may be a misspelled secret, and only its name matters.
std::vector<std::uint8_t> CopyOf(const RawValue& value, const SettingInfo* setting) {
  if (setting == nullptr) return {};
  return setting->name == "SKey" ? Masked(value.data, value.type) : value.data;
}

void WriteKey(HKEY root, const char* path, const StoredKey& stored) {
  if (!stored.exists) return;
  UniqueRegistryKey key;
  RequireView(::RegCreateKeyExA(root, path, /*Reserved=*/0, /*lpClass=*/nullptr, REG_OPTION_VOLATILE,
                                KEY_SET_VALUE, /*lpSecurityAttributes=*/nullptr, key.Put(),
                                /*lpdwDisposition=*/nullptr),
              "RegCreateKeyEx");
  for (const RawValue& value : stored.values) {
    std::vector<std::uint8_t> data = CopyOf(value, stored.SettingOf(value));
    const auto bytes = static_cast<DWORD>(data.size());
    // If a NUL followed an unterminated text, Windows would store it too.
    data.insert(data.end(), sizeof(std::uint32_t), 0xFF);
    RequireView(
        ::RegSetValueExW(key.Get(), value.name.c_str(), /*Reserved=*/0, value.type, data.data(), bytes),
        "RegSetValueEx");
  }
}

UniqueRegistryKey CreateView(const std::wstring& path, const StoredKeys& keys) {
  // A terminated process may have left its key, and this process may have the same process ID.
  ::RegDeleteTreeW(HKEY_CURRENT_USER, path.c_str());
  UniqueRegistryKey view;
  RequireView(
      ::RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), /*Reserved=*/0, /*lpClass=*/nullptr,
                        REG_OPTION_VOLATILE, KEY_ALL_ACCESS, /*lpSecurityAttributes=*/nullptr, view.Put(),
                        /*lpdwDisposition=*/nullptr),
      "RegCreateKeyEx");
  WriteKey(view.Get(), LocalKeyPath, keys.local);
  WriteKey(view.Get(), PolicyKeyPath, keys.policy);
  return view;
}

}  // namespace

PrivateSettings::PrivateSettings(const StoredKeys& keys)
    : path_(L"Software\\KuvFilterCheck." + std::to_wstring(::GetCurrentProcessId())) {
  try {
    const UniqueRegistryKey view = CreateView(path_, keys);
    RequireView(::RegOverridePredefKey(HKEY_LOCAL_MACHINE, view.Get()), "RegOverridePredefKey");
  } catch (...) {
    ::RegDeleteTreeW(HKEY_CURRENT_USER, path_.c_str());
    throw;
  }
}

PrivateSettings::~PrivateSettings() {
  ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, /*hNewHKey=*/nullptr);
  ::RegDeleteTreeW(HKEY_CURRENT_USER, path_.c_str());
}

}  // namespace FilterCheck
