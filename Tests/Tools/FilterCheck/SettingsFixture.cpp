#include "Tools/FilterCheck/SettingsFixture.h"

#include <aclapi.h>

#include <algorithm>
#include <cwchar>
#include <sstream>

#include "Common/Identifier.h"
#include "KuvAuth/Configuration/Configuration.h"
#include "KuvAuth/ProtectedStorage/ProtectedStorage.h"
#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/UniqueResource.h"

namespace KuvTest {

namespace {

void AddValues(HKEY key, std::ostream& out) {
  for (DWORD index = 0;; ++index) {
    wchar_t name[300] = {};
    BYTE data[5000] = {};
    DWORD units = 300;
    DWORD bytes = sizeof(data);
    DWORD type = 0;
    const LSTATUS status = ::RegEnumValueW(key, index, name, &units, nullptr, &type, data, &bytes);
    if (status == ERROR_NO_MORE_ITEMS) return;
    if (status != ERROR_SUCCESS) throw std::runtime_error{"RegEnumValueW failed"};
    out << " " << WideToUtf8(name) << ":" << type << ":" << std::string(reinterpret_cast<char*>(data), bytes);
  }
}

void AddTree(HKEY key, const std::string& path, std::ostream& out) {
  out << path;
  AddValues(key, out);
  out << '\n';
  for (DWORD index = 0;; ++index) {
    wchar_t name[300] = {};
    DWORD units = 300;
    if (::RegEnumKeyExW(key, index, name, &units, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
      return;
    Kuv::UniqueRegistryKey child;
    if (::RegOpenKeyExW(key, name, 0, KEY_READ, child.Put()) != ERROR_SUCCESS)
      throw std::runtime_error{"RegOpenKeyExW failed"};
    AddTree(child.Get(), path + "\\" + WideToUtf8(name), out);
  }
}

void AddStored(const char* where, const std::optional<FilterCheck::StoredValue>& stored, std::ostream& out) {
  if (stored)
    out << " " << where << " " << stored->type << " " << stored->bytes << " [" << stored->shown << "]";
}

}  // namespace

SettingsFixture::SettingsFixture() : folderPath("SHGetFolderPathW"), redirect_("RegOverridePredefKey") {
  redirect_.Answer([this](HKEY root, HKEY key) {
    if (root != HKEY_LOCAL_MACHINE || key != nullptr) return redirect_.Original(root, key);
    registry.RedirectMachine();
    return LSTATUS{ERROR_SUCCESS};
  });
  folderPath.Answer([this](HWND, int, HANDLE, DWORD, LPWSTR path) {
    std::wcscpy(path, appData.Path().c_str());
    return S_OK;
  });
  ProviderKey(kKuvText).SetText(L"", L"Kuv");
  ProviderKey(kPasswordText).SetText(L"", L"Password");
  ProviderKey(kSmartCardText).SetText(L"", L"Smart card");
  ProviderKey(kForeignText).SetText(L"", L"Vendor");
  WriteGoodSettings();
}

void SettingsFixture::WriteGoodSettings() const {
  registry.Local().SetText(L"Host", L"auth.kuv.example");
  registry.Local().SetText(L"IKey", L"SAMPLE");
  registry.Local().SetText(L"SKey", L"sample-secret");
  registry.Policy().Create();
  CloseKeys();
}

SettingsFixture::~SettingsFixture() {
  *GetConfiguration() = Configuration{};
}

TestKey SettingsFixture::ProviderKey(const std::wstring& identifier) {
  return {
      HKEY_LOCAL_MACHINE,
      L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Providers\\" + identifier};
}

void CloseKeys() {
  if (!ProtectSettingsKeys()) throw std::runtime_error{"cannot protect the settings keys"};
  // The owner that an installer sets. The keys of a test belong to its user.
  BYTE administrators[SECURITY_MAX_SID_SIZE] = {};
  DWORD size = sizeof(administrators);
  ::CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, administrators, &size);
  for (const wchar_t* const path :
       {L"Software\\Kuvant\\KuvCredProv", L"Software\\Policies\\Kuvant\\KuvCredProv"}) {
    Kuv::UniqueRegistryKey key;
    const LSTATUS opened =
        ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, READ_CONTROL | WRITE_OWNER, key.Put());
    if (opened == ERROR_FILE_NOT_FOUND) continue;
    if (opened != ERROR_SUCCESS ||
        ::SetSecurityInfo(key.Get(), SE_REGISTRY_KEY, OWNER_SECURITY_INFORMATION, administrators, nullptr,
                          nullptr, nullptr) != ERROR_SUCCESS) {
      throw std::runtime_error{"cannot set the owner of the settings keys"};
    }
  }
}

const FilterCheck::SettingState& StateOf(const FilterCheck::Situation& situation, std::string_view name) {
  for (const FilterCheck::SettingState& state : situation.settings) {
    if (state.setting->name == name) return state;
  }
  throw std::runtime_error{"no such setting: " + std::string{name}};
}

std::vector<std::string> Ids(const FilterCheck::Findings& findings) {
  std::vector<std::string> ids;
  for (const FilterCheck::Finding& finding : findings) ids.push_back(finding.id);
  return ids;
}

std::vector<std::string> IdsOf(const FilterCheck::Situation& situation) {
  return Ids(situation.findings);
}

std::string Describe(const FilterCheck::Situation& situation) {
  std::ostringstream out;
  for (const FilterCheck::SettingState& state : situation.settings) {
    out << state.setting->name << " = " << state.effective << " from " << static_cast<int>(state.source);
    AddStored("policy", state.policy, out);
    AddStored("local", state.local, out);
    out << '\n';
  }
  for (const FilterCheck::Finding& finding : situation.findings) {
    out << finding.id << " " << static_cast<int>(finding.severity) << " [" << finding.subject << "] "
        << finding.text << " -> " << finding.advice << '\n';
  }
  for (const Tools::Provider& provider : situation.decision.providers)
    out << Tools::IdentifierText(provider.identifier) << " " << provider.name << '\n';
  for (const FilterCheck::Decision& decision : situation.decision.decisions) {
    out << decision.scenario.name << " " << decision.scenario.usage << " " << decision.scenario.flags
        << " session " << static_cast<int>(decision.session) << " outcome "
        << static_cast<int>(decision.outcome) << " enabled";
    for (const bool enabled : decision.enabled) out << (enabled ? " 1" : " 0");
    out << " by " << decision.because.decidedBy << " = " << decision.because.value << " from "
        << static_cast<int>(decision.because.source) << '\n';
  }
  return out.str();
}

std::string Snapshot() {
  // The redirected root cannot be enumerated by handle, so each key is opened by name.
  std::ostringstream out;
  for (DWORD index = 0;; ++index) {
    wchar_t name[300] = {};
    DWORD units = 300;
    if (::RegEnumKeyExW(HKEY_LOCAL_MACHINE, index, name, &units, nullptr, nullptr, nullptr, nullptr) !=
        ERROR_SUCCESS) {
      return out.str();
    }
    Kuv::UniqueRegistryKey child;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, name, 0, KEY_READ, child.Put()) != ERROR_SUCCESS)
      throw std::runtime_error{"RegOpenKeyExW failed"};
    AddTree(child.Get(), WideToUtf8(name), out);
  }
}

}  // namespace KuvTest
