#include "FilterCheck/Machine/InstalledProviders.h"

#include "Common/PlainText.h"
#include "Common/ToolError.h"
#include "FilterCheck/Model/StockProviders.h"
#include "KuvCredFilter/AllowedProviders.h"

namespace FilterCheck {

Tools::ProviderList InstalledProviders() {
  Tools::ProviderList providers;
  try {
    providers = Tools::ReadInstalledProviders();
  } catch (const Tools::NoProvidersError&) {
    return {};
  }
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
