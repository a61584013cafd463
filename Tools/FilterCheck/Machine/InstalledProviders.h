#pragma once

#include "Common/ProviderList.h"

namespace FilterCheck {

/// Returns whether a provider is registered and not disabled (value `Disabled` of its key).
bool IsInstalled(const GUID& provider);

/// Reads the installed providers, without disabled Kuv providers. Those of Windows have the names that users
/// know. Returns an empty list if there are none. Throws `Tools::ToolError`.
Tools::ProviderList InstalledProviders();

}  // namespace FilterCheck
