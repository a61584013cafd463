#include "FakeRegistry.h"

#include <algorithm>
#include <cstring>

#include <gtest/gtest.h>

#include "KuvAuth/Support/Text.h"

namespace KuvTest {

FakeRegistry::~FakeRegistry() {
  for (const auto& [handle, path] : opened_) ADD_FAILURE() << path << " was left open";
}

void FakeRegistry::Set(const std::string& path, const std::string& name, DWORD type, const void* data,
                       std::size_t size) {
  const auto* const bytes = static_cast<const BYTE*>(data);
  keys_[path][name] = Value{type, std::vector<BYTE>(bytes, bytes + size)};
}

void FakeRegistry::SetDword(const std::string& path, const std::string& name, std::uint32_t value) {
  Set(path, name, REG_DWORD, &value, sizeof(value));
}

void FakeRegistry::SetText(const std::string& path, const std::string& name, std::string_view text) {
  const std::string ended{text};
  Set(path, name, REG_SZ, ended.c_str(), ended.size() + 1);
}

std::size_t FakeRegistry::CountCalls(std::string_view start) const {
  return static_cast<std::size_t>(std::count_if(
      calls_.begin(), calls_.end(), [&](const std::string& call) { return call.starts_with(start); }));
}

LSTATUS FakeRegistry::OpenKeyA(HKEY key, const char* subKey, DWORD options, REGSAM access, HKEY* result) {
  EXPECT_EQ(key, HKEY_LOCAL_MACHINE);
  calls_.push_back(FormatToString("OpenKeyA HKLM\\%s options %lu access 0x%lX", subKey, options, access));
  const auto failure = openFailures_.find(++opens_);
  if (failure != openFailures_.end()) return failure->second;
  if (!keys_.contains(subKey)) return ERROR_FILE_NOT_FOUND;
  *result = reinterpret_cast<HKEY>(++lastHandle_);
  opened_[*result] = subKey;
  return ERROR_SUCCESS;
}

LSTATUS FakeRegistry::CloseKey(HKEY key) {
  const auto opened = opened_.find(key);
  if (opened == opened_.end()) {
    ADD_FAILURE() << "a key was closed that is not open";
    return ERROR_INVALID_HANDLE;
  }
  calls_.push_back("CloseKey " + opened->second);
  opened_.erase(opened);
  return closeStatus_;
}

LSTATUS FakeRegistry::QueryValueA(HKEY key, const char* valueName, DWORD* reserved, DWORD* type, BYTE* data,
                                  DWORD* size) {
  EXPECT_EQ(reserved, nullptr);
  calls_.push_back(FormatToString("QueryValueA %s type %lu size %lu", valueName, *type, *size));
  return Query(key, valueName, type, data, size);
}

LSTATUS FakeRegistry::QueryValueW(HKEY key, const wchar_t* valueName, DWORD* reserved, DWORD* type,
                                  BYTE* data, DWORD* size) {
  EXPECT_EQ(reserved, nullptr);
  const std::string name = WideToUtf8(valueName);
  calls_.push_back(FormatToString("QueryValueW %s type %lu size %lu", name.c_str(), *type, *size));
  return Query(key, name, type, data, size);
}

LSTATUS FakeRegistry::Query(HKEY key, const std::string& name, DWORD* type, BYTE* data, DWORD* size) {
  const auto opened = opened_.find(key);
  if (opened == opened_.end()) {
    ADD_FAILURE() << name << " was queried in a key that is not open";
    return ERROR_INVALID_HANDLE;
  }
  const Key& values = keys_[opened->second];
  const auto found = values.find(name);
  if (found == values.end()) return ERROR_FILE_NOT_FOUND;
  const Value& value = found->second;
  const DWORD room = *size;
  *type = value.type;
  *size = static_cast<DWORD>(value.data.size());
  if (value.data.size() > room) {
    std::memset(data, 'x', room);
    return ERROR_MORE_DATA;
  }
  if (!value.data.empty()) std::memcpy(data, value.data.data(), value.data.size());
  const auto failure = queryFailures_.find(name);
  return failure == queryFailures_.end() ? ERROR_SUCCESS : failure->second;
}

void FakeRegistry::WriteQword(HKEY, const wchar_t*, const wchar_t*, std::uint64_t) {
  ADD_FAILURE() << "settings are read only";
}

std::uint64_t FakeRegistry::ReadQword(HKEY, const wchar_t*, const wchar_t*, std::uint64_t defaultValue) {
  ADD_FAILURE() << "no setting is read as a 64-bit number";
  return defaultValue;
}

}  // namespace KuvTest
