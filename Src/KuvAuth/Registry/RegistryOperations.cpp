#include "KuvAuth/Registry/RegistryOperations.h"

#include <windows.h>

#include <cstring>

#include "KuvAuth/Support/UniqueResource.h"

namespace Kuv {

namespace {

constexpr DWORD kWrittenObjectBytes = 32;

void Require(LSTATUS status, const char* message) {
  if (status != ERROR_SUCCESS) throw RegistryError(status, message);
}

void GetValue(HKEY root, const std::wstring& subKey, const std::wstring& name, DWORD filter, void* data,
              DWORD& size, const char* message) {
  Require(::RegGetValueW(root, subKey.c_str(), name.c_str(), filter, /*pdwType=*/nullptr, data, &size),
          message);
}

// Passes the access rights as options and requests no access, as required; see the header.
UniqueRegistryKey CreateKey(HKEY root, const std::wstring& subKey) {
  UniqueRegistryKey key;
  Require(
      ::RegCreateKeyExW(root, subKey.c_str(), /*Reserved=*/0, /*lpClass=*/nullptr, /*dwOptions=*/KEY_WRITE,
                        /*samDesired=*/0, /*lpSecurityAttributes=*/nullptr, key.Put(),
                        /*lpdwDisposition=*/nullptr),
      "Unable to create key in registry.");
  return key;
}

void SetDefaultValue(HKEY key, const std::wstring& childKey, DWORD type, const void* data, DWORD size) {
  Require(::RegSetKeyValueW(key, childKey.c_str(), /*lpValueName=*/nullptr, type, data, size),
          "Unable to set data in registry.");
}

}  // namespace

void DeleteRegistryKey(HKEY root, const std::wstring& subKey) {
  Require(::RegDeleteKeyExW(root, subKey.c_str(), /*samDesired=*/0, /*Reserved=*/0),
          "Unable to delete key from registry.");
}

std::vector<std::uint8_t> ReadRegistryBinary(HKEY root, const std::wstring& subKey,
                                             const std::wstring& name) {
  DWORD size = 0;
  GetValue(root, subKey, name, RRF_RT_REG_BINARY, nullptr, size, "Unable to get data size from registry.");
  std::vector<std::uint8_t> data(size);
  GetValue(root, subKey, name, RRF_RT_REG_BINARY, data.data(), size, "Unable to read data from registry.");
  return data;
}

std::uint32_t ReadRegistryDword(HKEY root, const std::wstring& subKey, const std::wstring& name) {
  std::uint32_t value = 0;
  DWORD size = sizeof(value);
  GetValue(root, subKey, name, RRF_RT_DWORD, &value, size, "Unable to read DWORD from registry.");
  return value;
}

std::wstring ReadRegistryString(HKEY root, const std::wstring& subKey, const std::wstring& name) {
  DWORD size = 0;
  GetValue(root, subKey, name, RRF_RT_REG_SZ, nullptr, size, "Unable to read data size from registry.");
  // Not read into the string itself, which has no room for the NUL and an odd last byte.
  const std::size_t units = size / sizeof(wchar_t);
  std::vector<wchar_t> buffer(units + 1);
  GetValue(root, subKey, name, RRF_RT_REG_SZ, buffer.data(), size, "Unable to read string from registry.");
  return {buffer.data(), units == 0 ? 0 : units - 1};
}

void WriteRegistryBinary(HKEY root, const std::wstring& subKey, const std::wstring& name,
                         const std::vector<std::uint8_t>& value) {
  const UniqueRegistryKey key = CreateKey(root, subKey);
  Require(::RegSetValueExW(key.Get(), name.c_str(), /*Reserved=*/0, REG_BINARY, value.data(),
                           static_cast<DWORD>(value.size())),
          "Unable to write data to registry.");
}

void WriteRegistryDword(HKEY root, const std::wstring& subKey, const std::wstring& childKey,
                        std::uint32_t value) {
  const UniqueRegistryKey key = CreateKey(root, subKey);
  SetDefaultValue(key.Get(), childKey, REG_DWORD, &value, sizeof(value));
}

void WriteRegistryString(HKEY root, const std::wstring& subKey, const std::wstring& childKey,
                         const std::wstring& value) {
  const UniqueRegistryKey key = CreateKey(root, subKey);
  // Writes the bytes of the object itself, as required; see the header.
  // NOLINTBEGIN(bugprone-sizeof-container, bugprone-undefined-memory-manipulation)
  if constexpr (sizeof(value) >= kWrittenObjectBytes) {
    SetDefaultValue(key.Get(), childKey, REG_SZ, &value, kWrittenObjectBytes);
  } else {
    std::uint8_t block[kWrittenObjectBytes] = {};
    std::memcpy(block, &value, sizeof(value));
    SetDefaultValue(key.Get(), childKey, REG_SZ, block, kWrittenObjectBytes);
  }
  // NOLINTEND(bugprone-sizeof-container, bugprone-undefined-memory-manipulation)
}

}  // namespace Kuv
