#include "FilterSetup/Actions/SettingsKeys.h"

#include <windows.h>

#include <cstdint>
#include <string>

#include "Common/ErrorText.h"
#include "FilterSetup/Machine/Access.h"
#include "KuvAuth/ProtectedStorage/ProtectedStorage.h"
#include "KuvAuth/Support/SettingsKeys.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace FilterSetup {

namespace {

using Kuv::UniqueRegistryKey;

constexpr GENERIC_MAPPING kMapping{KEY_READ, KEY_WRITE, KEY_EXECUTE, KEY_ALL_ACCESS};

enum class KeyState : std::uint8_t { Absent, Unprotected, Protected };

std::string SubjectOf(const char* path) {
  return "HKLM\\" + std::string{path};
}

void Require(LSTATUS status, const char* failure) {
  if (status == ERROR_SUCCESS) return;
  throw Tools::ToolError{failure + Tools::DescribeError(static_cast<std::uint32_t>(status))};
}

// Returns no key if it does not exist.
UniqueRegistryKey OpenKey(const char* path, REGSAM access) {
  UniqueRegistryKey key;
  const LSTATUS status = ::RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, /*ulOptions=*/0, access, key.Put());
  if (status != ERROR_FILE_NOT_FOUND) Require(status, "cannot be opened: ");
  return key;
}

KeyState StateOf(const char* path) {
  const UniqueRegistryKey key = OpenKey(path, READ_CONTROL);
  if (!key) return KeyState::Absent;
  return IsProtected(ReadSecurity(key.Get(), SE_REGISTRY_KEY), kMapping, KEY_ALL_ACCESS)
             ? KeyState::Protected
             : KeyState::Unprotected;
}

UniqueRegistryKey CreateKey(const std::string& path, SECURITY_ATTRIBUTES* attributes) {
  UniqueRegistryKey key;
  Require(::RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), /*Reserved=*/0, /*lpClass=*/nullptr,
                            REG_OPTION_NON_VOLATILE, READ_CONTROL, attributes, key.Put(),
                            /*lpdwDisposition=*/nullptr),
          "cannot be created: ");
  return key;
}

// The parent key is created first, with the default access list: it has no secret.
void CreateProtected(const std::string& path) {
  CreateKey(path.substr(0, path.find_last_of('\\')), /*attributes=*/nullptr);
  ProtectedDescriptor descriptor;
  SECURITY_ATTRIBUTES attributes{sizeof(SECURITY_ATTRIBUTES), descriptor.Get(), /*bInheritHandle=*/FALSE};
  CreateKey(path, &attributes);
}

// An administrator may take the ownership even of a key that grants no other right.
void SetOwner(const char* path) {
  const UniqueRegistryKey key = OpenKey(path, WRITE_OWNER);
  if (!key) return;
  ProtectedDescriptor descriptor;
  Require(::RegSetKeySecurity(key.Get(), OWNER_SECURITY_INFORMATION, descriptor.Get()),
          "cannot be given to Administrators: ");
}

// The two steps on one key. The library changes the access lists of both keys in one call between them.
class KeyRun {
 public:
  KeyRun(const char* path, Changes& changes) : path_(path), subject_(SubjectOf(path)), changes_(changes) {}

  // Creates the key, or sets its owner.
  void Begin(bool create) {
    Guarded([&] {
      state_ = StateOf(path_);
      if (state_ == KeyState::Absent && !create) return;
      change_ = state_ == KeyState::Absent ? "created for SYSTEM and Administrators only"
                : state_ == KeyState::Unprotected
                    ? "protected: owner Administrators, access for SYSTEM and Administrators only"
                    : nullptr;
      if (change_ == nullptr || changes_.IsDryRun()) return;
      if (state_ == KeyState::Absent) CreateProtected(path_);
      SetOwner(path_);
    });
  }

  bool IsToBeProtected() const noexcept { return change_ != nullptr; }

  void End() {
    if (change_ == nullptr) return;
    Guarded([&] {
      if (!changes_.IsDryRun() && StateOf(path_) != KeyState::Protected) {
        OpenKey(path_, KEY_ALL_ACCESS);  // explains what the library could not do
        throw Tools::ToolError{"the access list could not be replaced"};
      }
      changes_.Add(subject_, change_);
    });
  }

 private:
  template <typename Function>
  void Guarded(Function function) {
    try {
      function();
    } catch (const Tools::ToolError& error) {
      changes_.AddFailure(subject_, error.what());
      change_ = nullptr;
    }
  }

  const char* path_;
  std::string subject_;
  Changes& changes_;
  KeyState state_ = KeyState::Absent;
  const char* change_ = nullptr;  // null: nothing to do, or failed
};

}  // namespace

void PrepareSettingsKeys(Changes& changes) {
  KeyRun local{LocalKeyPath, changes};
  KeyRun policy{PolicyKeyPath, changes};
  local.Begin(/*create=*/true);
  policy.Begin(/*create=*/false);
  const bool any = local.IsToBeProtected() || policy.IsToBeProtected();
  // The result is also false if there is no policy key, so the access lists are read again.
  if (any && !changes.IsDryRun()) ProtectSettingsKeys();
  local.End();
  policy.End();
}

}  // namespace FilterSetup
