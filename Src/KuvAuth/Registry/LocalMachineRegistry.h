#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <vector>

/// @file
/// Functions that read and write values below `HKEY_LOCAL_MACHINE`. Names are UTF-16. All functions are
/// thread-safe and throw only `std::bad_alloc`.
///
/// The readers return the default if the key or the value is missing, has another type or is too large, and
/// log the result at `Debug`. For a null `subKey` they return the default and log nothing.
///
/// The writers create the key if it does not exist and return whether the value was written. For a null
/// `subKey` or `name` they return false and log nothing. If the value cannot be written, they log the
/// thread's last error and its message at `Error`; the registry call may not have set that error. They log a
/// "wrote" line at `Debug` even on failure.
///
/// @warning `RegReadLocalMachineString` and `RegWriteLocalMachineString` log the whole text at `Debug`. Do
/// not use them for secrets; the functions for binary values do not log the bytes.

namespace Kuv {

/// An integer of at most 32 bits that is neither `bool` nor `std::uint32_t`, for example `DWORD` or `int`.
/// Without an overload for these types, a call would be ambiguous.
template <typename Number>
concept OtherSmallInteger = std::integral<Number> && !std::same_as<Number, bool> &&
                            !std::same_as<Number, std::uint32_t> && sizeof(Number) <= sizeof(std::uint32_t);

}  // namespace Kuv

/// Reads a `REG_BINARY` value of at most 32,768 bytes. Returns an empty sequence, not the default, if the key
/// cannot be opened. Logs only a value that was found.
std::vector<std::uint8_t> RegReadLocalMachineBinary(const wchar_t* subKey, const wchar_t* name,
                                                    std::vector<std::uint8_t> defaultValue);

/// Reads a `REG_DWORD` value as a flag: any number but 0 is true.
bool RegReadLocalMachineDword(const wchar_t* subKey, const wchar_t* name, bool defaultValue);

/// Reads a `REG_DWORD` value.
std::uint32_t RegReadLocalMachineDword(const wchar_t* subKey, const wchar_t* name,
                                       std::uint32_t defaultValue);

/// Reads a `REG_DWORD` value. A negative default is returned as its two's complement.
std::uint32_t RegReadLocalMachineDword(const wchar_t* subKey, const wchar_t* name,
                                       Kuv::OtherSmallInteger auto defaultValue) {
  return RegReadLocalMachineDword(subKey, name, static_cast<std::uint32_t>(defaultValue));
}

/// Rejects a text or another pointer, which would convert to `bool`.
template <typename Pointee>
bool RegReadLocalMachineDword(const wchar_t* subKey, const wchar_t* name,
                              const Pointee* defaultValue) = delete;

/// Reads a `REG_QWORD` value. The log line shows its low 32 bits.
std::uint64_t RegReadLocalMachineQword(const wchar_t* subKey, const wchar_t* name,
                                       std::uint64_t defaultValue);

/// Reads a `REG_SZ` value of at most 2,080 bytes (1,039 characters and the NUL), up to its first NUL. Logs
/// the text or the default at `Debug`. Not for secrets.
std::wstring RegReadLocalMachineString(const wchar_t* subKey, const wchar_t* name,
                                       const wchar_t* defaultValue);

/// Writes the bytes as `REG_BINARY`.
bool RegWriteLocalMachineBinary(const wchar_t* subKey, const wchar_t* name, std::vector<std::uint8_t> value);

/// Writes the flag as a `REG_DWORD` of 0 or 1.
bool RegWriteLocalMachineDword(const wchar_t* subKey, const wchar_t* name, bool value);

/// Writes the number as `REG_DWORD`.
bool RegWriteLocalMachineDword(const wchar_t* subKey, const wchar_t* name, std::uint32_t value);

/// Writes the number as `REG_DWORD`, a negative one as its two's complement.
bool RegWriteLocalMachineDword(const wchar_t* subKey, const wchar_t* name,
                               Kuv::OtherSmallInteger auto value) {
  return RegWriteLocalMachineDword(subKey, name, static_cast<std::uint32_t>(value));
}

/// Rejects a text or another pointer, which would convert to `bool`.
template <typename Pointee>
bool RegWriteLocalMachineDword(const wchar_t* subKey, const wchar_t* name, const Pointee* value) = delete;

/// Writes the number as `REG_QWORD`. The log line shows its low 32 bits.
bool RegWriteLocalMachineQword(const wchar_t* subKey, const wchar_t* name, std::uint64_t value);

/// Writes the text, which must not be null, with its NUL as `REG_SZ`. Logs it at `Debug`. Not for secrets.
bool RegWriteLocalMachineString(const wchar_t* subKey, const wchar_t* name, const wchar_t* value);
