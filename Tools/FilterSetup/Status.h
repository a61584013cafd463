#pragma once

#include <iosfwd>

#include "FilterSetup/Model/SetupError.h"

namespace FilterSetup {

/// Writes what `prepare` would change, and whether the filter is enabled in each registry view, as text or as
/// JSON. Changes nothing. Writes a failure to `err` as well. Throws `Tools::ToolError`.
ExitCode PrintStatus(bool json, std::ostream& out, std::ostream& err);

}  // namespace FilterSetup
