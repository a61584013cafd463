#pragma once

#include <string>
#include <vector>

#include "FilterCheck/Model/Report.h"

namespace FilterCheck {

/// Reads the registration of the filter in both views, of other filters and of the Kuv providers, and the
/// settings of Windows that affect the result. Does not write to the registry. Throws `Tools::ToolError`.
Registration ReadRegistration();

/// Returns the paths of the modules that are registered for the filter, at most one for each view. Throws
/// `Tools::ToolError`.
std::vector<std::wstring> RegisteredModules();

}  // namespace FilterCheck
