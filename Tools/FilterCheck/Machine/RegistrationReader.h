#pragma once

#include "FilterCheck/Model/Report.h"

namespace FilterCheck {

/// Reads from the registry how the filter is registered in both views, the other filters, the Kuv providers
/// and the platform's settings that affect the outcome. Writes nothing. Throws `Tools::ToolError`.
Registration ReadRegistration();

}  // namespace FilterCheck
