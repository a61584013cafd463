#pragma once

#include <windows.h>

#include <cstdint>
#include <utility>

/// @file
/// The registry as the load of the settings sees it.

/// The seam between the settings and the platform's registry. An implementation keeps to the
/// platform's contract: a status of 0 is success; a query's size holds the buffer's bytes on entry and
/// the data's on return; a buffer that is too small gives `ERROR_MORE_DATA`.
class IRegistry {
 public:
  virtual ~IRegistry() = default;

  /// Reads a value by its 8-bit name (`RegQueryValueExA`).
  virtual LSTATUS QueryValueA(HKEY key, const char* valueName, DWORD* reserved, DWORD* type, BYTE* data,
                              DWORD* size) = 0;
  /// Opens a subkey (`RegOpenKeyExA`), to be closed with `CloseKey`.
  virtual LSTATUS OpenKeyA(HKEY key, const char* subKey, DWORD options, REGSAM access, HKEY* result) = 0;
  /// Closes a key (`RegCloseKey`). Returns a status.
  virtual LSTATUS CloseKey(HKEY key) = 0;
  /// Reads a value by its 16-bit name (`RegQueryValueExW`).
  virtual LSTATUS QueryValueW(HKEY key, const wchar_t* valueName, DWORD* reserved, DWORD* type, BYTE* data,
                              DWORD* size) = 0;
  /// Writes a `REG_QWORD` value, creating the key. Throws `std::invalid_argument` for a null text and
  /// `std::runtime_error` if the key or the value cannot be written; both are logged at `Error`, save a
  /// key that cannot be created.
  virtual void WriteQword(HKEY root, const wchar_t* keyPath, const wchar_t* valueName,
                          std::uint64_t value) = 0;
  /// Reads a `REG_QWORD` value. Gives the default if a text is null (logged at `Warning`), if the value
  /// is missing or of another type.
  virtual std::uint64_t ReadQword(HKEY root, const wchar_t* keyPath, const wchar_t* valueName,
                                  std::uint64_t defaultValue) = 0;
};

/// The platform's registry. Without state: callers make one on the stack.
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

namespace Kuv {

/// A key opened for an `IRegistry`, closed through it at the end of the scope.
class OpenedKey {
 public:
  /// Takes a key that `registry` has opened, or null for none.
  OpenedKey(IRegistry& registry, HKEY key) noexcept : registry_(registry), key_(key) {}
  OpenedKey(const OpenedKey&) = delete;
  OpenedKey& operator=(const OpenedKey&) = delete;
  ~OpenedKey() { Close(); }

  /// Gives the key, null once it is closed.
  HKEY Get() const noexcept { return key_; }

  /// Closes the key now and gives the status of that; closes nothing the second time.
  LSTATUS Close() {
    const HKEY key = std::exchange(key_, nullptr);
    return key == nullptr ? ERROR_SUCCESS : registry_.CloseKey(key);
  }

 private:
  IRegistry& registry_;
  HKEY key_;
};

}  // namespace Kuv
