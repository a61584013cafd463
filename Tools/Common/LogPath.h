#pragma once

#include <string>

namespace Tools {

/// Returns the path of the filter's log file on this machine, and creates neither file nor folder. Throws
/// `ToolError`.
std::wstring FilterLogPath();

}  // namespace Tools
