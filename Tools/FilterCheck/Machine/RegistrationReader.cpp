#include "FilterCheck/Machine/RegistrationReader.h"

#include <windows.h>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <utility>

#include "Common/ErrorText.h"
#include "Common/Identifier.h"
#include "Common/PlainText.h"
#include "Common/ProviderList.h"
#include "Common/SubkeyName.h"
#include "Common/ToolError.h"
#include "FilterCheck/Machine/Architecture.h"
#include "FilterCheck/Machine/FilterModule.h"
#include "FilterCheck/Machine/InstalledProviders.h"
#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/UniqueResource.h"
#include "KuvCredFilter/Identifiers.h"

namespace FilterCheck {

namespace {

using Kuv::UniqueRegistryKey;
using Tools::IdentifierText;
using Tools::kProvidersKey;
using Tools::PlainText;

constexpr wchar_t kExclusionPolicies[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Policies\\System";
constexpr wchar_t kSystemPolicies[] = L"SOFTWARE\\Policies\\Microsoft\\Windows\\System";

// The paths of a view for a 64-bit program, which sees both. The classes of 32-bit programs have two paths.
struct ViewPaths {
  const wchar_t* filters;
  const wchar_t* classes[2];
  const wchar_t* classesOfUser;  ///< below HKEY_CLASSES_ROOT, which includes the user's classes
};

constexpr ViewPaths kNativePaths{
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Provider Filters",
    {L"SOFTWARE\\Classes\\CLSID", nullptr},
    L"CLSID"};
constexpr ViewPaths kWow64Paths{
    L"SOFTWARE\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Provider Filters",
    {L"SOFTWARE\\WOW6432Node\\Classes\\CLSID", L"SOFTWARE\\Classes\\WOW6432Node\\CLSID"},
    L"WOW6432Node\\CLSID"};

const ViewPaths& PathsOf(View view) noexcept {
  return view == View::Native ? kNativePaths : kWow64Paths;
}

[[noreturn]] void ThrowCannotRead(const std::wstring& what, LSTATUS status) {
  throw Tools::ToolError{"cannot read the registry " + WideToUtf8(what) + ": " +
                         Tools::DescribeError(static_cast<std::uint32_t>(status))};
}

bool IsAbsent(LSTATUS status) noexcept {
  return status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND;
}

// Returns nothing if the key does not exist.
UniqueRegistryKey OpenKey(HKEY root, const std::wstring& path) {
  UniqueRegistryKey key;
  const LSTATUS status = ::RegOpenKeyExW(root, path.c_str(), /*ulOptions=*/0, KEY_READ, key.Put());
  if (status != ERROR_SUCCESS && !IsAbsent(status)) ThrowCannotRead(L"key " + path, status);
  return key;
}

struct RegistryText {
  std::wstring text;
  bool expand = false;  ///< stored as REG_EXPAND_SZ
};

// Returns an empty text if the key or value does not exist, or if the value is not a text.
RegistryText ReadText(const UniqueRegistryKey& key, const wchar_t* name) {
  if (!key) return {};
  std::wstring text(256, L'\0');
  for (;;) {
    auto size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    DWORD type = 0;
    const LSTATUS status =
        ::RegGetValueW(key.Get(), /*lpSubKey=*/nullptr, name,
                       RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND, &type, text.data(), &size);
    if (status == ERROR_SUCCESS) return {std::wstring{text.c_str()}, type == REG_EXPAND_SZ};
    if (status == ERROR_UNSUPPORTED_TYPE || IsAbsent(status)) return {};
    if (status != ERROR_MORE_DATA) ThrowCannotRead(std::wstring{L"value "} + name, status);
    // The value may grow between two calls, so the buffer always grows.
    text.resize(std::max<std::size_t>(2 * text.size(), size / sizeof(wchar_t) + 1));
  }
}

std::optional<std::uint32_t> ReadNumber(const UniqueRegistryKey& key, const wchar_t* name) {
  if (!key) return std::nullopt;
  DWORD number = 0;
  DWORD size = sizeof(number);
  const LSTATUS status = ::RegGetValueW(key.Get(), /*lpSubKey=*/nullptr, name, RRF_RT_REG_DWORD,
                                        /*pdwType=*/nullptr, &number, &size);
  return status == ERROR_SUCCESS ? std::optional{std::uint32_t{number}} : std::nullopt;
}

// The contents of a class key.
struct ServerClass {
  bool exists = false;
  std::wstring name;
  std::wstring file;
  std::wstring threadingModel;
};

ServerClass ReadClassAt(HKEY root, const std::wstring& path, View view) {
  const UniqueRegistryKey key = OpenKey(root, path);
  if (!key) return {};
  const UniqueRegistryKey server = OpenKey(key.Get(), L"InprocServer32");
  const RegistryText module = ReadText(server, L"");
  return {true, ReadText(key, L"").text, ModuleFile(module.text, module.expand, view),
          ReadText(server, L"ThreadingModel").text};
}

ServerClass ReadClass(const std::wstring& identifier, View view) {
  for (const wchar_t* const classes : PathsOf(view).classes) {
    if (classes == nullptr) continue;
    ServerClass found = ReadClassAt(HKEY_LOCAL_MACHINE, std::wstring{classes} + L"\\" + identifier, view);
    if (found.exists) return found;
  }
  return {};
}

std::wstring FilterIdentifier() {
  return Utf8ToWide(IdentifierText(CLSID_KuvCredFilter));
}

RegisteredFilter ReadFilter(View view) {
  const std::wstring identifier = FilterIdentifier();
  const ViewPaths& paths = PathsOf(view);
  RegisteredFilter filter{};
  filter.wow64 = view == View::Wow64;
  filter.architecture = ArchitectureName(MachineOf(view));
  filter.inFilterList =
      static_cast<bool>(OpenKey(HKEY_LOCAL_MACHINE, std::wstring{paths.filters} + L"\\" + identifier));
  const ServerClass server = ReadClass(identifier, view);
  if (!server.exists) {
    filter.onlyForThisUser =
        static_cast<bool>(OpenKey(HKEY_CLASSES_ROOT, std::wstring{paths.classesOfUser} + L"\\" + identifier));
    return filter;
  }
  filter.module = PlainText(server.file);
  filter.threadingModel = PlainText(server.threadingModel);
  filter.moduleExists = IsFile(server.file);
  if (!filter.moduleExists) return filter;
  filter.architectureFits = IsModuleFor(MachineOf(view), server.file);
  filter.version = ModuleVersion(server.file);
  const std::optional<std::wstring> beside = FilterBeside(view);
  if (beside) filter.sameAsBeside = IsSameFile(server.file, *beside);
  return filter;
}

OtherFilter ReadOtherFilter(const UniqueRegistryKey& filters, const std::wstring& identifier, View view) {
  const ServerClass server = ReadClass(identifier, view);
  const std::wstring entry = ReadText(OpenKey(filters.Get(), identifier), L"").text;
  return {view == View::Wow64, PlainText(identifier), PlainText(entry.empty() ? server.name : entry),
          PlainText(server.file), IsFile(server.file)};
}

void AppendOtherFilters(View view, std::vector<OtherFilter>& others) {
  const UniqueRegistryKey filters = OpenKey(HKEY_LOCAL_MACHINE, PathsOf(view).filters);
  for (DWORD index = 0; filters; ++index) {
    const std::wstring identifier = Tools::SubkeyName(filters.Get(), index);
    if (identifier.empty()) return;
    if (Tools::ParseIdentifier(WideToUtf8(identifier)) == CLSID_KuvCredFilter) continue;
    others.push_back(ReadOtherFilter(filters, identifier, view));
  }
}

// Returns whether a comma-separated list contains a provider.
bool Names(const std::wstring& list, const CLSID& provider) {
  std::istringstream entries{WideToUtf8(list)};
  for (std::string entry; std::getline(entries, entry, ',');) {
    RemoveWhitespace(entry);
    if (Tools::ParseIdentifier(entry) == provider) return true;
  }
  return false;
}

// The policy template of Windows writes to the first key. The second key contains the exclusions.
std::string DefaultProvider() {
  for (const wchar_t* const policies : {kSystemPolicies, kExclusionPolicies}) {
    const std::wstring provider =
        ReadText(OpenKey(HKEY_LOCAL_MACHINE, policies), L"DefaultCredentialProvider").text;
    if (!provider.empty()) return PlainText(provider);
  }
  return {};
}

}  // namespace

Registration ReadRegistration() {
  Registration registration{};
  registration.filter = {ReadFilter(View::Native), ReadFilter(View::Wow64)};
  AppendOtherFilters(View::Native, registration.others);
  AppendOtherFilters(View::Wow64, registration.others);
  registration.kuvProviderInstalled = IsInstalled(CLSID_KuvCredProv);
  registration.kuvSmartCardProviderInstalled = IsInstalled(CLSID_KuvSmartCardCredProv);
  const std::wstring excluded =
      ReadText(OpenKey(HKEY_LOCAL_MACHINE, kExclusionPolicies), L"ExcludedCredentialProviders").text;
  // Without the Kuv credential provider, the smart card provider is the only one that asks for the second
  // factor.
  registration.kuvProviderExcluded =
      Names(excluded, CLSID_KuvCredProv) ||
      (!registration.kuvProviderInstalled && Names(excluded, CLSID_KuvSmartCardCredProv));
  registration.excludedProviders = PlainText(excluded);
  registration.defaultProvider = DefaultProvider();
  registration.prohibitFallbacks =
      ReadNumber(OpenKey(HKEY_LOCAL_MACHINE, kProvidersKey), L"ProhibitFallbacks");
  return registration;
}

std::vector<std::wstring> RegisteredModules() {
  std::vector<std::wstring> modules;
  for (const View view : {View::Native, View::Wow64}) {
    std::wstring module = ReadClass(FilterIdentifier(), view).file;
    if (!module.empty()) modules.push_back(std::move(module));
  }
  return modules;
}

}  // namespace FilterCheck
