#include "FilterSetup/Machine/FilterList.h"

#include <windows.h>

#include <cstdint>

#include "Common/ErrorText.h"
#include "Common/Identifier.h"
#include "Common/ToolError.h"
#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/UniqueResource.h"
#include "KuvCredFilter/Identifiers.h"

namespace FilterSetup {

namespace {

using Kuv::UniqueRegistryKey;

// The paths of a view for a 64-bit program, which sees both. The classes of 32-bit programs have two paths.
struct ViewPaths {
  const char* filters;
  const char* classes[2];
};

constexpr ViewPaths kPaths[] = {
    {R"(SOFTWARE\Microsoft\Windows\CurrentVersion\Authentication\Credential Provider Filters\)",
     {R"(SOFTWARE\Classes\CLSID\)", nullptr}},
    {R"(SOFTWARE\WOW6432Node\Microsoft\Windows\CurrentVersion\Authentication\Credential Provider Filters\)",
     {R"(SOFTWARE\WOW6432Node\Classes\CLSID\)", R"(SOFTWARE\Classes\WOW6432Node\CLSID\)"}},
};

const ViewPaths& PathsOf(bool wow64) noexcept {
  return kPaths[wow64 ? 1 : 0];
}

std::string EntryPath(bool wow64) {
  return PathsOf(wow64).filters + Tools::IdentifierText(CLSID_KuvCredFilter);
}

void Require(LSTATUS status, const char* failure) {
  if (status == ERROR_SUCCESS) return;
  throw Tools::ToolError{failure + Tools::DescribeError(static_cast<std::uint32_t>(status))};
}

bool IsAbsent(LSTATUS status) noexcept {
  return status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND;
}

bool HasKey(const std::string& path) {
  UniqueRegistryKey key;
  const LSTATUS status =
      ::RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), /*ulOptions=*/0, KEY_QUERY_VALUE, key.Put());
  if (IsAbsent(status)) return false;
  Require(status, ("cannot read HKLM\\" + path + ": ").c_str());
  return true;
}

// A text of one character and its terminator is 4 bytes long.
bool HasText(const std::string& path) {
  DWORD size = 0;
  const LSTATUS status = ::RegGetValueW(HKEY_LOCAL_MACHINE, Utf8ToWide(path).c_str(), /*lpValue=*/L"",
                                        RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND,
                                        /*pdwType=*/nullptr, /*pvData=*/nullptr, &size);
  if (IsAbsent(status) || status == ERROR_UNSUPPORTED_TYPE) return false;
  Require(status, ("cannot read HKLM\\" + path + ": ").c_str());
  return size >= 2 * sizeof(wchar_t);
}

bool IsRegistered(bool wow64) {
  for (const char* const classes : PathsOf(wow64).classes) {
    if (classes != nullptr &&
        HasText(classes + Tools::IdentifierText(CLSID_KuvCredFilter) + R"(\InprocServer32)")) {
      return true;
    }
  }
  return false;
}

FilterView ReadView(bool wow64) {
  return {wow64, HasKey(EntryPath(wow64)), IsRegistered(wow64)};
}

}  // namespace

std::array<FilterView, 2> ReadFilterViews() {
  return {ReadView(/*wow64=*/false), ReadView(/*wow64=*/true)};
}

std::string EntryName(bool wow64) {
  return "HKLM\\" + EntryPath(wow64);
}

void AddEntry(bool wow64) {
  const std::string path = EntryPath(wow64);
  UniqueRegistryKey key;
  Require(::RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), /*Reserved=*/0, /*lpClass=*/nullptr,
                            REG_OPTION_NON_VOLATILE, KEY_WRITE, /*lpSecurityAttributes=*/nullptr, key.Put(),
                            /*lpdwDisposition=*/nullptr),
          "cannot be created: ");
  constexpr wchar_t kName[] = L"KuvCredFilter";
  const LSTATUS status = ::RegSetValueExW(key.Get(), /*lpValueName=*/nullptr, /*Reserved=*/0, REG_SZ,
                                          reinterpret_cast<const BYTE*>(kName), sizeof(kName));
  if (status == ERROR_SUCCESS) return;
  key.Reset();
  ::RegDeleteTreeA(HKEY_LOCAL_MACHINE, path.c_str());
  Require(status, "cannot be written: ");
}

void RemoveEntry(bool wow64) {
  Require(::RegDeleteTreeA(HKEY_LOCAL_MACHINE, EntryPath(wow64).c_str()), "cannot be deleted: ");
}

}  // namespace FilterSetup
