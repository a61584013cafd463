#include "KuvAuth/Registry/LocalMachineRegistry.h"

#include <windows.h>

#include <cwchar>
#include <utility>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Support/SystemError.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace {

constexpr std::size_t kBinaryCapacity = 32768;
constexpr std::size_t kTextBufferUnits = 2080;
constexpr DWORD kTextBytesOffered = 2080;  // half of the buffer: a longer text is treated as missing

Kuv::UniqueRegistryKey OpenKey(const wchar_t* subKey) {
  Kuv::UniqueRegistryKey key;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, subKey, /*ulOptions=*/0, KEY_READ, key.Put()) != ERROR_SUCCESS)
    return {};
  return key;
}

// Reads a value of the required type. `size` is the size of `data` on entry and of the value on return.
bool Query(HKEY key, const wchar_t* name, DWORD presetType, DWORD neededType, void* data, DWORD& size) {
  DWORD type = presetType;
  return ::RegQueryValueExW(key, name, nullptr, &type, static_cast<BYTE*>(data), &size) == ERROR_SUCCESS &&
         type == neededType;
}

template <typename Number>
Number ReadNumber(const wchar_t* subKey, const wchar_t* name, DWORD neededType, Number defaultValue) {
  const Kuv::UniqueRegistryKey key = OpenKey(subKey);
  Number number = 0;
  DWORD size = sizeof(number);
  return key && Query(key.Get(), name, REG_SZ, neededType, &number, size) ? number : defaultValue;
}

std::wstring ReadText(const wchar_t* subKey, const wchar_t* name, const wchar_t* defaultValue) {
  const Kuv::UniqueRegistryKey key = OpenKey(subKey);
  wchar_t text[kTextBufferUnits] = {};
  DWORD size = kTextBytesOffered;
  return key && Query(key.Get(), name, REG_SZ, REG_SZ, text, size) ? text : defaultValue;
}

// Returns an empty sequence if the key cannot be opened, and the default if the value cannot be read.
std::vector<std::uint8_t> ReadBytes(const wchar_t* subKey, const wchar_t* name,
                                    std::vector<std::uint8_t>&& defaultValue, bool& found) {
  const Kuv::UniqueRegistryKey key = OpenKey(subKey);
  if (!key) return {};
  std::vector<std::uint8_t> data(kBinaryCapacity);
  auto size = static_cast<DWORD>(data.size());
  found = Query(key.Get(), name, REG_BINARY, REG_BINARY, data.data(), size);
  if (!found) return std::move(defaultValue);
  data.resize(size);
  return data;
}

// `function` is the name in the error line.
bool WriteValue(const wchar_t* function, const wchar_t* subKey, const wchar_t* name, DWORD type,
                const void* data, std::size_t size) {
  Kuv::UniqueRegistryKey key;
  if (::RegCreateKeyExW(
          HKEY_LOCAL_MACHINE, subKey, /*Reserved=*/0, /*lpClass=*/nullptr, /*dwOptions=*/0, KEY_WRITE,
          /*lpSecurityAttributes=*/nullptr, key.Put(), /*lpdwDisposition=*/nullptr) != ERROR_SUCCESS) {
    return false;
  }
  if (::RegSetValueExW(key.Get(), name, /*Reserved=*/0, type, static_cast<const BYTE*>(data),
                       static_cast<DWORD>(size)) == ERROR_SUCCESS) {
    return true;
  }
  // Logs the last error, not the status, as required.
  const DWORD code = ::GetLastError();
  KUV_LOG(LogLevel::Error, L"%s failed to write key %s, error code 0x%X: %s", function, name, code,
          FormatSystemError(code).c_str());
  return false;
}

}  // namespace

std::vector<std::uint8_t> RegReadLocalMachineBinary(const wchar_t* subKey, const wchar_t* name,
                                                    std::vector<std::uint8_t> defaultValue) {
  if (subKey == nullptr) return defaultValue;
  bool found = false;
  std::vector<std::uint8_t> result = ReadBytes(subKey, name, std::move(defaultValue), found);
  if (found) KUV_LOG(LogLevel::Debug, L"RegReadLocalMachineBinary found value for key %s", name);
  return result;
}

bool RegReadLocalMachineDword(const wchar_t* subKey, const wchar_t* name, bool defaultValue) {
  return RegReadLocalMachineDword(subKey, name, std::uint32_t{defaultValue}) != 0;
}

std::uint32_t RegReadLocalMachineDword(const wchar_t* subKey, const wchar_t* name,
                                       std::uint32_t defaultValue) {
  if (subKey == nullptr) return defaultValue;
  const std::uint32_t result = ReadNumber(subKey, name, REG_DWORD, defaultValue);
  KUV_LOG(LogLevel::Debug, L"RegReadLocalMachineDword found %d value for key %s", result, name);
  return result;
}

std::uint64_t RegReadLocalMachineQword(const wchar_t* subKey, const wchar_t* name,
                                       std::uint64_t defaultValue) {
  if (subKey == nullptr) return defaultValue;
  const std::uint64_t result = ReadNumber(subKey, name, REG_QWORD, defaultValue);
  KUV_LOG(LogLevel::Debug, L"RegReadLocalMachineQword found %d value for key %s", static_cast<int>(result),
          name);
  return result;
}

std::wstring RegReadLocalMachineString(const wchar_t* subKey, const wchar_t* name,
                                       const wchar_t* defaultValue) {
  if (subKey == nullptr) return defaultValue;
  std::wstring result = ReadText(subKey, name, defaultValue);
  KUV_LOG(LogLevel::Debug, L"RegReadLocalMachineString found %s value for key %s", result.c_str(), name);
  return result;
}

bool RegWriteLocalMachineBinary(const wchar_t* subKey, const wchar_t* name, std::vector<std::uint8_t> value) {
  if (subKey == nullptr || name == nullptr) return false;
  const bool written =
      WriteValue(L"RegWriteLocalMachineBinary", subKey, name, REG_BINARY, value.data(), value.size());
  KUV_LOG(LogLevel::Debug, L"RegWriteLocalMachineBinary wrote value for key %s", name);
  return written;
}

bool RegWriteLocalMachineDword(const wchar_t* subKey, const wchar_t* name, bool value) {
  return RegWriteLocalMachineDword(subKey, name, std::uint32_t{value});
}

bool RegWriteLocalMachineDword(const wchar_t* subKey, const wchar_t* name, std::uint32_t value) {
  if (subKey == nullptr || name == nullptr) return false;
  const bool written =
      WriteValue(L"RegWriteLocalMachineDword", subKey, name, REG_DWORD, &value, sizeof(value));
  KUV_LOG(LogLevel::Debug, L"RegWriteLocalMachineDword wrote %d value for key %s", value, name);
  return written;
}

bool RegWriteLocalMachineQword(const wchar_t* subKey, const wchar_t* name, std::uint64_t value) {
  if (subKey == nullptr || name == nullptr) return false;
  const bool written =
      WriteValue(L"RegWriteLocalMachineQword", subKey, name, REG_QWORD, &value, sizeof(value));
  KUV_LOG(LogLevel::Debug, L"RegWriteLocalMachineQword wrote %d value for key %s", static_cast<int>(value),
          name);
  return written;
}

bool RegWriteLocalMachineString(const wchar_t* subKey, const wchar_t* name, const wchar_t* value) {
  if (subKey == nullptr || name == nullptr) return false;
  const std::size_t size = (std::wcslen(value) + 1) * sizeof(wchar_t);
  const bool written = WriteValue(L"RegWriteLocalMachineString", subKey, name, REG_SZ, value, size);
  KUV_LOG(LogLevel::Debug, L"RegWriteLocalMachineString wrote %s value for key %s", value, name);
  return written;
}
