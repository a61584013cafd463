#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace KuvTest {

/// One registry key that a test writes. Every operation throws `std::runtime_error` if it fails, so
/// that a test never continues with other settings than it has written.
class TestKey {
 public:
  /// Names a key; it is created by the first write.
  TestKey(HKEY root, std::wstring path) : root_(root), path_(std::move(path)) {}

  void Create() const;
  void SetDword(const std::wstring& name, std::uint32_t value) const;
  /// Writes a `REG_SZ` value with its terminator.
  void SetText(const std::wstring& name, const std::wstring& text) const;
  /// Writes a `REG_MULTI_SZ` value with the terminators.
  void SetTexts(const std::wstring& name, const std::vector<std::wstring>& texts) const;
  /// Writes any type and any bytes.
  void SetBytes(const std::wstring& name, DWORD type, const void* data, std::size_t size) const;
  void DeleteValue(const std::wstring& name) const;
  /// Deletes the key with its values and subkeys.
  void Delete() const;

  bool Exists() const;
  /// Reads a value and its type. Throws if it is absent.
  std::vector<std::uint8_t> GetBytes(const std::wstring& name, DWORD& type) const;

 private:
  HKEY root_;
  std::wstring path_;
};

/// Redirects `HKEY_LOCAL_MACHINE` and `HKEY_CLASSES_ROOT` of this process to a scratch key for the lifetime
/// of the object, and removes that key afterwards. The constructor throws `std::runtime_error` if it
/// cannot: then the registry of the machine is unchanged. One object at a time.
class RegistrySandbox {
 public:
  RegistrySandbox();
  ~RegistrySandbox();
  RegistrySandbox(const RegistrySandbox&) = delete;
  RegistrySandbox& operator=(const RegistrySandbox&) = delete;

  /// Redirects `HKEY_LOCAL_MACHINE` again, after the code under test has ended the redirection.
  void RedirectMachine() const;

  /// Return the keys of the local settings and of the policy settings.
  TestKey Local() const { return {HKEY_LOCAL_MACHINE, L"Software\\Kuvant\\KuvCredProv"}; }
  TestKey Policy() const { return {HKEY_LOCAL_MACHINE, L"Software\\Policies\\Kuvant\\KuvCredProv"}; }

 private:
  std::wstring scratch_;
};

}  // namespace KuvTest
