#include "Support/RegistrySandbox.h"

#include <atomic>
#include <stdexcept>

#include "KuvAuth/Support/UniqueResource.h"

namespace KuvTest {

namespace {

using Kuv::UniqueRegistryKey;

void Require(LSTATUS status, const char* operation) {
  if (status != ERROR_SUCCESS) {
    throw std::runtime_error{std::string{operation} + " failed with " + std::to_string(status)};
  }
}

UniqueRegistryKey CreateKey(HKEY root, const std::wstring& path) {
  UniqueRegistryKey key;
  Require(::RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key.Put(), nullptr),
          "RegCreateKeyExW");
  return key;
}

UniqueRegistryKey OpenKey(HKEY root, const std::wstring& path, REGSAM access) {
  UniqueRegistryKey key;
  Require(::RegOpenKeyExW(root, path.c_str(), 0, access, key.Put()), "RegOpenKeyExW");
  return key;
}

constexpr wchar_t kScratchRoot[] = L"Software\\KuvTests";

}  // namespace

void TestKey::Create() const {
  CreateKey(root_, path_);
}

void TestKey::SetDword(const std::wstring& name, std::uint32_t value) const {
  SetBytes(name, REG_DWORD, &value, sizeof(value));
}

void TestKey::SetText(const std::wstring& name, const std::wstring& text) const {
  SetBytes(name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
}

void TestKey::SetTexts(const std::wstring& name, const std::vector<std::wstring>& texts) const {
  std::wstring data;
  for (const std::wstring& text : texts) data += text + L'\0';
  data += L'\0';
  SetBytes(name, REG_MULTI_SZ, data.data(), data.size() * sizeof(wchar_t));
}

void TestKey::SetBytes(const std::wstring& name, DWORD type, const void* data, std::size_t size) const {
  const UniqueRegistryKey key = CreateKey(root_, path_);
  Require(::RegSetValueExW(key.Get(), name.c_str(), 0, type, static_cast<const BYTE*>(data),
                           static_cast<DWORD>(size)),
          "RegSetValueExW");
}

void TestKey::DeleteValue(const std::wstring& name) const {
  const UniqueRegistryKey key = OpenKey(root_, path_, KEY_SET_VALUE);
  Require(::RegDeleteValueW(key.Get(), name.c_str()), "RegDeleteValueW");
}

void TestKey::Delete() const {
  Require(::RegDeleteTreeW(root_, path_.c_str()), "RegDeleteTreeW");
}

bool TestKey::Exists() const {
  UniqueRegistryKey key;
  return ::RegOpenKeyExW(root_, path_.c_str(), 0, KEY_READ, key.Put()) == ERROR_SUCCESS;
}

std::vector<std::uint8_t> TestKey::GetBytes(const std::wstring& name, DWORD& type) const {
  const UniqueRegistryKey key = OpenKey(root_, path_, KEY_READ);
  DWORD size = 0;
  Require(::RegQueryValueExW(key.Get(), name.c_str(), nullptr, &type, nullptr, &size), "RegQueryValueExW");
  std::vector<std::uint8_t> data(size);
  if (size != 0) {
    Require(::RegQueryValueExW(key.Get(), name.c_str(), nullptr, &type, data.data(), &size),
            "RegQueryValueExW");
  }
  return data;
}

RegistrySandbox::RegistrySandbox() {
  static std::atomic<int> number{0};
  scratch_ = std::wstring{kScratchRoot} + L"\\" + std::to_wstring(::GetCurrentProcessId()) + L"." +
             std::to_wstring(++number);
  // A crashed process with the same identifier may have left its key.
  ::RegDeleteTreeW(HKEY_CURRENT_USER, scratch_.c_str());
  const UniqueRegistryKey classes = CreateKey(HKEY_CURRENT_USER, scratch_ + L"\\ClassesRoot");
  RedirectMachine();
  const LSTATUS status = ::RegOverridePredefKey(HKEY_CLASSES_ROOT, classes.Get());
  if (status != ERROR_SUCCESS) ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
  Require(status, "RegOverridePredefKey");
}

void RegistrySandbox::RedirectMachine() const {
  const UniqueRegistryKey machine = CreateKey(HKEY_CURRENT_USER, scratch_ + L"\\LocalMachine");
  Require(::RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine.Get()), "RegOverridePredefKey");
}

RegistrySandbox::~RegistrySandbox() {
  ::RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
  ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
  ::RegDeleteTreeW(HKEY_CURRENT_USER, scratch_.c_str());
}

}  // namespace KuvTest
