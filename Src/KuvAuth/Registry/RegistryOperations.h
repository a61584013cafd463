#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "KuvAuth/Support/WindowsTypes.h"

/// @file
/// Operations on any root key. Each throws `Kuv::RegistryError` if a registry call fails, including for a
/// missing key or value, and logs nothing. All functions are thread-safe.
///
/// @warning The writers do not do what their names suggest; they keep this behavior for compatibility. They
/// create the key with the options 0x20006, which is `KEY_WRITE` in the wrong position, and request no access
/// rights, so Windows may refuse to create the key or to write to it. To write a value, use
/// `RegWriteLocalMachineDword` and the functions next to it.

namespace Kuv {

/// A failed registry call.
class RegistryError : public std::runtime_error {
 public:
  /// Creates the error with a status of the registry call and a message.
  RegistryError(std::int32_t code, const std::string& message) : std::runtime_error(message), code_(code) {}

  /// Returns the status of the registry call, for example `ERROR_FILE_NOT_FOUND` (2) for a missing key or
  /// value.
  std::int32_t code() const noexcept { return code_; }

 private:
  std::int32_t code_;
};

/// Deletes a key that has no subkeys (`RegDeleteKeyExW`). Throws `RegistryError`.
void DeleteRegistryKey(HKEY root, const std::wstring& subKey);

/// Reads a `REG_BINARY` value of any size. The result has the size that the first of two queries returned.
/// Throws `RegistryError`.
std::vector<std::uint8_t> ReadRegistryBinary(HKEY root, const std::wstring& subKey, const std::wstring& name);

/// Reads a `REG_DWORD` value, or a `REG_BINARY` one of 4 bytes. Throws `RegistryError`.
std::uint32_t ReadRegistryDword(HKEY root, const std::wstring& subKey, const std::wstring& name);

/// Reads a `REG_SZ` value of any size, without its NUL. The result has the size that the first of two queries
/// returned and can contain NULs. Throws `RegistryError`.
std::wstring ReadRegistryString(HKEY root, const std::wstring& subKey, const std::wstring& name);

/// Writes the bytes as the `REG_BINARY` value `name` of `subKey`. Throws `RegistryError`.
///
/// @warning Creates the key without access rights; see RegistryOperations.h.
void WriteRegistryBinary(HKEY root, const std::wstring& subKey, const std::wstring& name,
                         const std::vector<std::uint8_t>& value);

/// Writes the number to the default value of a subkey. Throws `RegistryError`.
///
/// @warning Writes no value named `childKey`. The number becomes the default value, of type `REG_DWORD`, of
/// the *subkey* `childKey` of `subKey`.
void WriteRegistryDword(HKEY root, const std::wstring& subKey, const std::wstring& childKey,
                        std::uint32_t value);

/// Writes the bytes of a string object to the default value of a subkey. Throws `RegistryError`.
///
/// @warning Does not write the text. 32 bytes of the string *object* become the default value, of type
/// `REG_SZ`, of the *subkey* `childKey` of `subKey`: a pointer of this process, the length and the first
/// characters of a short text. A smaller object is padded with zeros. The value discloses an address of this
/// process to everyone who can read the key.
void WriteRegistryString(HKEY root, const std::wstring& subKey, const std::wstring& childKey,
                         const std::wstring& value);

}  // namespace Kuv
