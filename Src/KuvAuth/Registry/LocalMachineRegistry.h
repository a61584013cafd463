#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <vector>

/// @file
/// Values below `HKEY_LOCAL_MACHINE`, read with a default and written with a bool for the outcome. The
/// names are UTF-16. Nothing is thrown but `std::bad_alloc`. Any thread may call.
///
/// The readers: a null `subKey` gives the default without a log line. A key or value that is missing, of
/// another type or too large gives the default too. The outcome is logged at `Debug`.
///
/// The writers, which create the key if need be, return whether the value was written. A null `subKey` or
/// `name` gives false without a log line; a key that cannot be created gives false. A value that cannot be
/// written is logged at `Error`, with the last error of the thread and its text, which the platform need
/// not have set. The "wrote" line at `Debug` follows in any case, even on failure.

/// A number of 32 bits or less that is neither a flag nor `std::uint32_t`, DWORD and int above all: without
/// a form of their own they would be ambiguous between those two.
template <typename Number>
concept OtherSmallInteger = std::integral<Number> && !std::same_as<Number, bool> &&
                            !std::same_as<Number, std::uint32_t> && sizeof(Number) <= sizeof(std::uint32_t);

/// Reads a `REG_BINARY` value of at most 32,768 bytes. Beware: a key that cannot be opened gives an
/// empty sequence, not the default. Only a value that was found is logged.
std::vector<std::uint8_t> RegReadLocalMachineBinary(const wchar_t* subKey, const wchar_t* name,
                                                    std::vector<std::uint8_t> defaultValue);

/// Reads a `REG_DWORD` value as a flag: any number but 0 is true.
bool RegReadLocalMachineDword(const wchar_t* subKey, const wchar_t* name, bool defaultValue);

/// Reads a `REG_DWORD` value.
std::uint32_t RegReadLocalMachineDword(const wchar_t* subKey, const wchar_t* name,
                                       std::uint32_t defaultValue);

/// Reads a `REG_DWORD` value; a negative default comes back as its two's complement.
std::uint32_t RegReadLocalMachineDword(const wchar_t* subKey, const wchar_t* name,
                                       OtherSmallInteger auto defaultValue) {
  return RegReadLocalMachineDword(subKey, name, static_cast<std::uint32_t>(defaultValue));
}

/// Reads a `REG_QWORD` value. The log line shows its low 32 bits.
std::uint64_t RegReadLocalMachineQword(const wchar_t* subKey, const wchar_t* name,
                                       std::uint64_t defaultValue);

/// Reads a `REG_SZ` value of at most 2,080 bytes (1,039 characters and their NUL), up to its first NUL.
std::wstring RegReadLocalMachineString(const wchar_t* subKey, const wchar_t* name,
                                       const wchar_t* defaultValue);

/// Writes the bytes as `REG_BINARY`.
bool RegWriteLocalMachineBinary(const wchar_t* subKey, const wchar_t* name, std::vector<std::uint8_t> value);

/// Writes the flag as a `REG_DWORD` of 0 or 1.
bool RegWriteLocalMachineDword(const wchar_t* subKey, const wchar_t* name, bool value);

/// Writes the number as `REG_DWORD`.
bool RegWriteLocalMachineDword(const wchar_t* subKey, const wchar_t* name, std::uint32_t value);

/// Writes the number as `REG_DWORD`, a negative one as its two's complement.
bool RegWriteLocalMachineDword(const wchar_t* subKey, const wchar_t* name, OtherSmallInteger auto value) {
  return RegWriteLocalMachineDword(subKey, name, static_cast<std::uint32_t>(value));
}

/// Writes the number as `REG_QWORD`. The log line shows its low 32 bits.
bool RegWriteLocalMachineQword(const wchar_t* subKey, const wchar_t* name, std::uint64_t value);

/// Writes the text, which must not be null, with its NUL as `REG_SZ`.
bool RegWriteLocalMachineString(const wchar_t* subKey, const wchar_t* name, const wchar_t* value);
