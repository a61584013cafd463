#include "KuvAuth/Registry/Registry.h"

#include <windows.h>

#include <stdexcept>

#include "KuvAuth/Logging/LogFront.h"
#include "KuvAuth/Registry/OpenedKey.h"
#include "KuvAuth/Support/SystemError.h"

namespace {

bool WriteValue(IRegistry& registry, HKEY root, const wchar_t* keyPath, const wchar_t* valueName,
                std::uint64_t value) {
  HKEY created = nullptr;
  if (::RegCreateKeyExW(root, keyPath, /*Reserved=*/0, /*lpClass=*/nullptr, /*dwOptions=*/0, KEY_WRITE,
                        /*lpSecurityAttributes=*/nullptr, &created,
                        /*lpdwDisposition=*/nullptr) != ERROR_SUCCESS) {
    return false;
  }
  const Kuv::OpenedKey key{registry, created};
  if (::RegSetValueExW(key.Get(), valueName, /*Reserved=*/0, REG_QWORD, reinterpret_cast<const BYTE*>(&value),
                       sizeof(value)) == ERROR_SUCCESS) {
    return true;
  }
  // Logs the last error, not the status, as required.
  const DWORD code = ::GetLastError();
  KUV_LOG(LogLevel::Error, L"WriteQword failed to write key %s, error code 0x%X: %s", valueName, code,
          FormatSystemError(code).c_str());
  return false;
}

std::uint64_t ReadValue(IRegistry& registry, HKEY root, const wchar_t* keyPath, const wchar_t* valueName,
                        std::uint64_t defaultValue) {
  HKEY opened = nullptr;
  if (::RegOpenKeyExW(root, keyPath, /*ulOptions=*/0, KEY_READ, &opened) != ERROR_SUCCESS)
    return defaultValue;
  const Kuv::OpenedKey key{registry, opened};
  std::uint64_t number = 0;
  DWORD type = REG_SZ;
  DWORD size = sizeof(number);
  const LSTATUS status =
      registry.QueryValueW(key.Get(), valueName, nullptr, &type, reinterpret_cast<BYTE*>(&number), &size);
  return status == ERROR_SUCCESS && type == REG_QWORD ? number : defaultValue;
}

}  // namespace

LSTATUS Registry::QueryValueA(HKEY key, const char* valueName, DWORD* reserved, DWORD* type, BYTE* data,
                              DWORD* size) {
  return ::RegQueryValueExA(key, valueName, reserved, type, data, size);
}

LSTATUS Registry::OpenKeyA(HKEY key, const char* subKey, DWORD options, REGSAM access, HKEY* result) {
  return ::RegOpenKeyExA(key, subKey, options, access, result);
}

LSTATUS Registry::CloseKey(HKEY key) {
  return ::RegCloseKey(key);
}

LSTATUS Registry::QueryValueW(HKEY key, const wchar_t* valueName, DWORD* reserved, DWORD* type, BYTE* data,
                              DWORD* size) {
  return ::RegQueryValueExW(key, valueName, reserved, type, data, size);
}

void Registry::WriteQword(HKEY root, const wchar_t* keyPath, const wchar_t* valueName, std::uint64_t value) {
  if (keyPath == nullptr) {
    KUV_LOG(LogLevel::Error, "Invalid argument: keyPath is NULL");
    throw std::invalid_argument{"keyPath"};
  }
  if (valueName == nullptr) {
    KUV_LOG(LogLevel::Error, "Invalid argument: valueName is NULL");
    throw std::invalid_argument{"valueName"};
  }
  if (!WriteValue(*this, root, keyPath, valueName, value))
    throw std::runtime_error{"Failed to write registry key."};
  KUV_LOG(LogLevel::Debug, L"WriteQword wrote %llu for key %s", value, valueName);
}

std::uint64_t Registry::ReadQword(HKEY root, const wchar_t* keyPath, const wchar_t* valueName,
                                  std::uint64_t defaultValue) {
  if (keyPath == nullptr || valueName == nullptr) {
    KUV_LOG(LogLevel::Warning, "ReadQword called with invalid parameters. Returning default value.");
    return defaultValue;
  }
  const std::uint64_t result = ReadValue(*this, root, keyPath, valueName, defaultValue);
  KUV_LOG(LogLevel::Debug, L"ReadQword found %llu for key %s", result, valueName);
  return result;
}
