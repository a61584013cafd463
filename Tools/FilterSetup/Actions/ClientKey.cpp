#include "FilterSetup/Actions/ClientKey.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

#include "Common/ErrorText.h"
#include "FilterSetup/Actions/SecretInput.h"
#include "FilterSetup/Machine/Access.h"
#include "KuvAuth/Support/SettingsKeys.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace FilterSetup {

namespace {

constexpr wchar_t kValueName[] = L"SKey";
constexpr char kPrepareFirst[] = "; run \"KuvFilterSetup prepare\" first";

using ValueBuffer = SecretBuffer<wchar_t, kMostSecretCharacters + 1>;

std::string KeyName() {
  return "HKLM\\" + std::string{LocalKeyPath};
}

// Throws `RefusedError` if the secret would not be safe in the key.
void RequireProtection(const Kuv::UniqueRegistryKey& key) {
  const Security security = ReadSecurity(key.Get(), SE_REGISTRY_KEY);
  if (!IsTrustedOwner(security.owner)) {
    throw RefusedError{"SKey was not written: " + KeyName() + " belongs to another user" + kPrepareFirst};
  }
  if (GrantsOthers(security)) {
    throw RefusedError{"SKey was not written: others than SYSTEM and Administrators have access to " +
                       KeyName() + kPrepareFirst};
  }
}

bool HasValue(const Kuv::UniqueRegistryKey& key, const ValueBuffer& value, DWORD size) {
  ValueBuffer stored;
  DWORD type = REG_NONE;
  auto storedSize = static_cast<DWORD>(stored.Size() * sizeof(wchar_t));
  return ::RegQueryValueExW(key.Get(), kValueName, /*lpReserved=*/nullptr, &type,
                            reinterpret_cast<BYTE*>(stored.Data()), &storedSize) == ERROR_SUCCESS &&
         type == REG_SZ && storedSize == size && std::memcmp(stored.Data(), value.Data(), size) == 0;
}

}  // namespace

void SetClientKey(const std::wstring& file, Changes& changes) {
  // The protection is checked and the value is written through one handle.
  Kuv::UniqueRegistryKey key;
  const REGSAM access = READ_CONTROL | KEY_QUERY_VALUE | (changes.IsDryRun() ? 0 : KEY_SET_VALUE);
  LSTATUS status = ::RegOpenKeyExA(HKEY_LOCAL_MACHINE, LocalKeyPath, /*ulOptions=*/0, access, key.Put());
  if (status == ERROR_FILE_NOT_FOUND) {
    throw RefusedError{"SKey was not written: " + KeyName() + " does not exist" + kPrepareFirst};
  }
  if (status != ERROR_SUCCESS) {
    changes.AddFailure(KeyName(),
                       "cannot be opened: " + Tools::DescribeError(static_cast<std::uint32_t>(status)));
    return;
  }
  RequireProtection(key);

  Secret secret;
  ReadSecret(file, secret);
  const std::string_view text = secret.Text();
  ValueBuffer value;
  std::copy(text.begin(), text.end(), value.Data());
  const auto size = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
  if (HasValue(key, value, size)) return;
  if (!changes.IsDryRun()) {
    status = ::RegSetValueExW(key.Get(), kValueName, /*Reserved=*/0, REG_SZ,
                              reinterpret_cast<const BYTE*>(value.Data()), size);
  }
  if (status == ERROR_SUCCESS) {
    changes.Add(KeyName() + "\\SKey", "written");
  } else {
    changes.AddFailure(KeyName() + "\\SKey",
                       "cannot be written: " + Tools::DescribeError(static_cast<std::uint32_t>(status)));
  }
}

}  // namespace FilterSetup
