#pragma once

#include <windows.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

/// @file
/// Operations on any root key. Each throws `Kuv::RegistryError` for the platform call that failed, a missing
/// key or value included, and logs nothing. Any thread may call.
///
/// @warning The writers do not do what their names promise, and are kept as they are for those who know
/// them. The key is created with the options 0x20006, which is `KEY_WRITE` in the wrong position, and with
/// no access rights asked for, so that the platform may refuse the key or what follows. To write a value,
/// use `RegWriteLocalMachineDword` and its siblings.

namespace Kuv {

/// A failed registry call.
class RegistryError : public std::runtime_error {
 public:
  /// Carries the platform's status and a message.
  RegistryError(std::int32_t code, const std::string& message) : std::runtime_error(message), code_(code) {}

  /// Gives the platform's status, `ERROR_FILE_NOT_FOUND` (2) for a missing key or value.
  std::int32_t code() const noexcept { return code_; }

 private:
  std::int32_t code_;
};

/// Deletes a key that has no subkeys (`RegDeleteKeyExW`). Throws `RegistryError`.
void DeleteRegistryKey(HKEY root, const std::wstring& subKey);

/// Reads a `REG_BINARY` value of any size. The result has the length in bytes that the value had when it was
/// measured. Throws `RegistryError`.
std::vector<std::uint8_t> ReadRegistryBinary(HKEY root, const std::wstring& subKey, const std::wstring& name);

/// Reads a `REG_DWORD` value, or a `REG_BINARY` one of 4 bytes. Throws `RegistryError`.
std::uint32_t ReadRegistryDword(HKEY root, const std::wstring& subKey, const std::wstring& name);

/// Reads a `REG_SZ` value of any size, without its NUL. The result has the length that the value had when
/// it was measured: NULs inside it stay. Throws `RegistryError`.
std::wstring ReadRegistryString(HKEY root, const std::wstring& subKey, const std::wstring& name);

/// Writes the bytes as the `REG_BINARY` value `name` of `subKey`. Throws `RegistryError`.
///
/// @warning The key is created with no access rights asked for; see RegistryOperations.h.
void WriteRegistryBinary(HKEY root, const std::wstring& subKey, const std::wstring& name,
                         const std::vector<std::uint8_t>& value);

/// Writes the number, but not to a value of that name. Throws `RegistryError`.
///
/// @warning The number becomes the default value, of type `REG_DWORD`, of the *subkey* `childKey` of
/// `subKey`; no value of that name is written.
void WriteRegistryDword(HKEY root, const std::wstring& subKey, const std::wstring& childKey,
                        std::uint32_t value);

/// Writes what a string object consists of, not its text. Throws `RegistryError`.
///
/// @warning 32 bytes of the string *object*, not of its text, become the default value, of type `REG_SZ`, of
/// the *subkey* `childKey` of `subKey`: what lands in the registry is a pointer of this process, the length
/// and, of a short text, its first characters. Whoever may read the key learns an address of this process. An
/// object of fewer bytes is filled up with zeros.
void WriteRegistryString(HKEY root, const std::wstring& subKey, const std::wstring& childKey,
                         const std::wstring& value);

}  // namespace Kuv
