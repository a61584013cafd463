#pragma once

#include <cstdint>

#include "KuvAuth/Support/WindowsTypes.h"

/// @file
/// The registry interface from which the settings are loaded.

/// Separates the settings from the Windows registry, so that tests can replace it. An implementation follows
/// the contract of the registry functions: a status of 0 is success; the size of a query is that of the
/// buffer on entry and that of the data on return, in bytes; a buffer that is too small results in
/// `ERROR_MORE_DATA`.
class IRegistry {
 public:
  virtual ~IRegistry() = default;

  /// Reads a value by its 8-bit name (`RegQueryValueExA`).
  virtual LSTATUS QueryValueA(HKEY key, const char* valueName, DWORD* reserved, DWORD* type, BYTE* data,
                              DWORD* size) = 0;
  /// Opens a subkey (`RegOpenKeyExA`). The caller closes it with `CloseKey`.
  virtual LSTATUS OpenKeyA(HKEY key, const char* subKey, DWORD options, REGSAM access, HKEY* result) = 0;
  /// Closes a key (`RegCloseKey`).
  virtual LSTATUS CloseKey(HKEY key) = 0;
  /// Reads a value by its 16-bit name (`RegQueryValueExW`).
  virtual LSTATUS QueryValueW(HKEY key, const wchar_t* valueName, DWORD* reserved, DWORD* type, BYTE* data,
                              DWORD* size) = 0;
  /// Writes a `REG_QWORD` value and creates the key if it does not exist. Throws `std::invalid_argument` for
  /// a null path or name, and `std::runtime_error` if the key cannot be created or the value cannot be
  /// written.
  virtual void WriteQword(HKEY root, const wchar_t* keyPath, const wchar_t* valueName,
                          std::uint64_t value) = 0;
  /// Reads a `REG_QWORD` value. Returns the default if the value is missing or has another type, or if the
  /// path or name is null.
  virtual std::uint64_t ReadQword(HKEY root, const wchar_t* keyPath, const wchar_t* valueName,
                                  std::uint64_t defaultValue) = 0;
};

/// The Windows registry. The class has no state; callers create an object on the stack.
///
/// `ReadQword` logs the result at `Debug`, also if it is the default, and a null path or name at `Warning`.
/// `WriteQword` logs the number that it has written at `Debug` and a failure at `Error`, unless the key
/// cannot be created. The other functions log nothing.
class Registry : public IRegistry {
 public:
  LSTATUS QueryValueA(HKEY key, const char* valueName, DWORD* reserved, DWORD* type, BYTE* data,
                      DWORD* size) override;
  LSTATUS OpenKeyA(HKEY key, const char* subKey, DWORD options, REGSAM access, HKEY* result) override;
  LSTATUS CloseKey(HKEY key) override;
  LSTATUS QueryValueW(HKEY key, const wchar_t* valueName, DWORD* reserved, DWORD* type, BYTE* data,
                      DWORD* size) override;
  void WriteQword(HKEY root, const wchar_t* keyPath, const wchar_t* valueName, std::uint64_t value) override;
  std::uint64_t ReadQword(HKEY root, const wchar_t* keyPath, const wchar_t* valueName,
                          std::uint64_t defaultValue) override;
};
