#include "FilterCheck/Machine/InstalledProviders.h"

#include "Common/Identifier.h"
#include "Common/PlainText.h"
#include "Common/ToolError.h"
#include "FilterCheck/Model/StockProviders.h"
#include "KuvAuth/Support/Text.h"
#include "KuvAuth/Support/UniqueResource.h"
#include "KuvCredFilter/AllowedProviders.h"

namespace FilterCheck {

bool IsInstalled(const GUID& provider) {
  const std::wstring path =
      std::wstring{Tools::kProvidersKey} + L"\\" + Utf8ToWide(Tools::IdentifierText(provider));
  Kuv::UniqueRegistryKey key;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), /*ulOptions=*/0, KEY_READ, key.Put()) !=
      ERROR_SUCCESS) {
    return false;
  }
  DWORD disabled = 0;
  DWORD size = sizeof(disabled);
  const LSTATUS status = ::RegGetValueW(key.Get(), /*lpSubKey=*/nullptr, L"Disabled", RRF_RT_REG_DWORD,
                                        /*pdwType=*/nullptr, &disabled, &size);
  return status != ERROR_SUCCESS || disabled == 0;
}

Tools::ProviderList InstalledProviders() {
  Tools::ProviderList providers;
  try {
    providers = Tools::ReadInstalledProviders();
  } catch (const Tools::NoProvidersError&) {
    return {};
  }
  std::erase_if(providers, [](const Tools::Provider& provider) {
    return IsKuvProvider(provider.identifier) && !IsInstalled(provider.identifier);
  });
  for (Tools::Provider& provider : providers) {
    // The registry contains the name of a class, which users do not know.
    const std::string_view stock = StockProviderName(provider.identifier);
    if (provider.name.empty() || (!stock.empty() && !IsKuvProvider(provider.identifier)))
      provider.name = stock;
    provider.name = Tools::PlainUtf8(provider.name);
  }
  return providers;
}

}  // namespace FilterCheck
