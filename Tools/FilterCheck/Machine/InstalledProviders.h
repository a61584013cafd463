#pragma once

#include "Common/ProviderList.h"

namespace FilterCheck {

/// Reads the installed providers. Those of Windows have the names that users know. Returns an empty list if
/// there are none. Throws `Tools::ToolError`.
Tools::ProviderList InstalledProviders();

}  // namespace FilterCheck
