#pragma once

#include "Common/ProviderList.h"

namespace FilterCheck {

/// Reads the installed providers and names those that come with the platform as users know them. Returns an
/// empty list if there are none. Throws `Tools::ToolError`.
Tools::ProviderList InstalledProviders();

}  // namespace FilterCheck
