#include <windows.h>

#include <cwchar>
#include <iterator>

#include "KuvAuth/Support/UniqueResource.h"
#include "KuvCredFilter/Module.h"

namespace {

using Kuv::UniqueRegistryKey;

// The text of CLSID_KuvCredFilter.
#define KUV_FILTER_CLSID L"{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}"

constexpr wchar_t kClassKey[] = L"CLSID\\" KUV_FILTER_CLSID;
constexpr wchar_t kServerSubkey[] = L"InprocServer32";
constexpr wchar_t kServerKey[] = L"CLSID\\" KUV_FILTER_CLSID L"\\InprocServer32";
constexpr wchar_t kFilterKey[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Provider "
    L"Filters\\" KUV_FILTER_CLSID;
constexpr wchar_t kName[] = L"KuvCredFilter";

#undef KUV_FILTER_CLSID

LSTATUS CreateKey(HKEY parent, const wchar_t* path, UniqueRegistryKey& key) {
  return ::RegCreateKeyExW(parent, path, /*Reserved=*/0, /*lpClass=*/nullptr, REG_OPTION_NON_VOLATILE,
                           KEY_WRITE,
                           /*lpSecurityAttributes=*/nullptr, key.Put(), /*lpdwDisposition=*/nullptr);
}

// An empty name selects the default value of the key.
LSTATUS SetText(HKEY key, const wchar_t* name, const wchar_t* text) {
  const auto size = static_cast<DWORD>((std::wcslen(text) + 1) * sizeof(wchar_t));
  return ::RegSetValueExW(key, name, /*Reserved=*/0, REG_SZ, reinterpret_cast<const BYTE*>(text), size);
}

}  // namespace

// Registers the COM class and the credential provider filter. Ignores every status that it does not check and
// returns S_OK if it cannot create the server key or write the path, as required.
STDAPI DllRegisterServer() {
  UniqueRegistryKey classKey;
  LSTATUS status = CreateKey(HKEY_CLASSES_ROOT, kClassKey, classKey);
  if (status != ERROR_SUCCESS) return HRESULT_FROM_WIN32(static_cast<unsigned long>(status));
  SetText(classKey.Get(), L"", kName);

  UniqueRegistryKey serverKey;
  if (CreateKey(classKey.Get(), kServerSubkey, serverKey) != ERROR_SUCCESS) return S_OK;
  wchar_t path[MAX_PATH + 1] = {};
  ::GetModuleFileNameW(g_moduleInstance, path, static_cast<DWORD>(std::size(path)));
  if (SetText(serverKey.Get(), L"", path) != ERROR_SUCCESS) return S_OK;
  SetText(serverKey.Get(), L"ThreadingModel", L"Apartment");

  UniqueRegistryKey filterKey;
  status = CreateKey(HKEY_LOCAL_MACHINE, kFilterKey, filterKey);
  if (status != ERROR_SUCCESS) return HRESULT_FROM_WIN32(static_cast<unsigned long>(status));
  SetText(filterKey.Get(), L"", kName);
  return S_OK;
}

// Deletes the keys that `DllRegisterServer` creates. Only the first deletion determines the result; it
// succeeds if the filter is not registered.
STDAPI DllUnregisterServer() {
  const LSTATUS status = ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, kFilterKey);
  ::RegDeleteKeyW(HKEY_CLASSES_ROOT, kServerKey);
  ::RegDeleteKeyW(HKEY_CLASSES_ROOT, kClassKey);
  return status == ERROR_FILE_NOT_FOUND ? S_OK : HRESULT_FROM_WIN32(static_cast<unsigned long>(status));
}
