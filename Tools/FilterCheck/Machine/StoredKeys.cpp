#include "FilterCheck/Machine/StoredKeys.h"

#include <algorithm>

#include "Common/ErrorText.h"
#include "Common/PlainText.h"
#include "Common/ToolError.h"
#include "KuvAuth/Support/SettingsKeys.h"
#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace FilterCheck {

namespace {

using Tools::PlainText;

void RequireRead(LSTATUS status, const char* path) {
  if (status == ERROR_SUCCESS) return;
  const std::string advice = status == ERROR_ACCESS_DENIED ? "; run KuvFilterCheck as an administrator" : "";
  throw Tools::ToolError{std::string{"cannot read HKLM\\"} + path + ": " +
                         Tools::DescribeError(static_cast<std::uint32_t>(status)) + advice};
}

// Returns a value by its index, or nothing after the last.
std::optional<RawValue> ReadValue(HKEY key, DWORD index, DWORD mostNameUnits, DWORD mostBytes,
                                  const char* path) {
  RawValue value{std::wstring(mostNameUnits + 1, L'\0'), 0, std::vector<std::uint8_t>(mostBytes + 1)};
  auto units = static_cast<DWORD>(value.name.size());
  auto bytes = static_cast<DWORD>(value.data.size());
  const LSTATUS status = ::RegEnumValueW(key, index, value.name.data(), &units, /*lpReserved=*/nullptr,
                                         &value.type, value.data.data(), &bytes);
  if (status == ERROR_NO_MORE_ITEMS) return std::nullopt;
  RequireRead(status, path);
  value.name.resize(units);
  value.data.resize(bytes);
  return value;
}

StoredKey ReadKey(const char* path) {
  Kuv::UniqueRegistryKey key;
  LSTATUS status = ::RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, /*ulOptions=*/0, KEY_QUERY_VALUE, key.Put());
  if (status == ERROR_FILE_NOT_FOUND) return {};
  RequireRead(status, path);
  DWORD mostNameUnits = 0;
  DWORD mostBytes = 0;
  status = ::RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                              &mostNameUnits, &mostBytes, nullptr, nullptr);
  RequireRead(status, path);
  StoredKey stored{true, {}};
  for (DWORD index = 0;; ++index) {
    std::optional<RawValue> value = ReadValue(key.Get(), index, mostNameUnits, mostBytes, path);
    if (!value) return stored;
    stored.values.push_back(*std::move(value));
  }
}

std::string HexText(const std::vector<std::uint8_t>& data) {
  constexpr std::size_t kMost = 16;
  std::string text;
  for (std::size_t i = 0; i < std::min(data.size(), kMost); ++i)
    text += FormatToString(i == 0 ? "%02X" : " %02X", static_cast<unsigned>(data[i]));
  return text + (data.size() > kMost ? " ..." : "");
}

std::string NumberText(const std::vector<std::uint8_t>& data) {
  std::uint64_t number = 0;
  std::copy_n(data.data(), data.size(), reinterpret_cast<std::uint8_t*>(&number));
  return std::to_string(number);
}

std::string ListText(const RawValue& value) {
  std::string list;
  for (const std::wstring& text : Strings(value)) list += (list.empty() ? "" : ", ") + PlainText(text);
  return list;
}

std::string ShownData(const RawValue& value) {
  switch (value.type) {
    case REG_SZ:
    case REG_EXPAND_SZ:
      return PlainText(std::wstring{Units(value).c_str()});
    case REG_MULTI_SZ:
      return ListText(value);
    case REG_DWORD:
      return value.data.size() == sizeof(std::uint32_t) ? NumberText(value.data) : HexText(value.data);
    case REG_QWORD:
      return value.data.size() == sizeof(std::uint64_t) ? NumberText(value.data) : HexText(value.data);
    default:
      return HexText(value.data);
  }
}

bool IsBlank(const std::vector<std::uint8_t>& data) {
  return std::all_of(data.begin(), data.end(), [](std::uint8_t byte) { return byte == 0; });
}

}  // namespace

const RawValue* StoredKey::Find(std::string_view name) const {
  const std::wstring wide{name.begin(), name.end()};
  const auto sameName = [&](const RawValue& value) {
    return ::CompareStringOrdinal(value.name.c_str(), static_cast<int>(value.name.size()), wide.c_str(),
                                  static_cast<int>(wide.size()), /*bIgnoreCase=*/TRUE) == CSTR_EQUAL;
  };
  const auto found = std::find_if(values.begin(), values.end(), sameName);
  return found == values.end() ? nullptr : &*found;
}

const SettingInfo* StoredKey::SettingOf(const RawValue& value) const {
  const auto found = std::find_if(AllSettings().begin(), AllSettings().end(),
                                  [&](const SettingInfo& setting) { return Find(setting.name) == &value; });
  return found == AllSettings().end() ? nullptr : &*found;
}

StoredKeys ReadStoredKeys() {
  return {ReadKey(PolicyKeyPath), ReadKey(LocalKeyPath)};
}

std::wstring Units(const RawValue& value) {
  std::wstring units(value.data.size() / sizeof(wchar_t), L'\0');
  std::copy_n(value.data.data(), units.size() * sizeof(wchar_t),
              reinterpret_cast<std::uint8_t*>(units.data()));
  return units;
}

std::vector<std::wstring> Strings(const RawValue& value) {
  const std::wstring units = Units(value);
  std::vector<std::wstring> strings;
  for (std::size_t start = 0; start < units.size() && units[start] != L'\0';) {
    const std::size_t end = std::min(units.find(L'\0', start), units.size());
    strings.push_back(units.substr(start, end - start));
    start = end + 1;
  }
  return strings;
}

StoredValue Shown(const RawValue& value, const SettingInfo& setting) {
  const bool secret = setting.name == "SKey";
  const std::string shown = secret ? (IsBlank(value.data) ? "empty" : "set") : ShownData(value);
  return {value.type, value.data.size(), shown};
}

std::string TypeName(DWORD type) {
  constexpr std::string_view kNames[] = {"REG_NONE",
                                         "REG_SZ",
                                         "REG_EXPAND_SZ",
                                         "REG_BINARY",
                                         "REG_DWORD",
                                         "REG_DWORD_BIG_ENDIAN",
                                         "REG_LINK",
                                         "REG_MULTI_SZ",
                                         "REG_RESOURCE_LIST",
                                         "REG_FULL_RESOURCE_DESCRIPTOR",
                                         "REG_RESOURCE_REQUIREMENTS_LIST",
                                         "REG_QWORD"};
  return type < std::size(kNames) ? std::string{kNames[type]} : "type " + std::to_string(type);
}

}  // namespace FilterCheck
